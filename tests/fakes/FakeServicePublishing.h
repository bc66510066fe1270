#pragma once

#include "platform/ServicePublishing.h"

#include <QList>

namespace lanterna
{

/// Keeps what is announced, as a network would see it.
class FakeServicePublishing : public ServicePublishing
{
public:
    [[nodiscard]] std::unique_ptr<PublishedService> publish(const ServiceRegistration &service) override
    {
        struct Published : PublishedService {
            explicit Published(FakeServicePublishing &network, std::shared_ptr<ServiceRegistration> service)
                : owner(network), entry(std::move(service))
            {
                owner.services.append(entry);
            }
            Published(const Published &) = delete;
            Published &operator=(const Published &) = delete;
            ~Published() override { owner.services.removeOne(entry); }
            void setText(const ServiceText &text) override
            {
                entry->text = text;
                ++owner.textChanges;
            }
            FakeServicePublishing &owner;
            std::shared_ptr<ServiceRegistration> entry;
        };
        history.append(service);
        return std::make_unique<Published>(*this, std::make_shared<ServiceRegistration>(service));
    }

    QList<std::shared_ptr<ServiceRegistration>> services; ///< announced now, in the order of announcing
    QList<ServiceRegistration> history; ///< every one that ever was, as it was first announced
    int textChanges = 0;
};

} // namespace lanterna
