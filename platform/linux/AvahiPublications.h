#pragma once

#include "platform/linux/AvahiBackEnd.h"
#include "platform/linux/AvahiNames.h"

#include <avahi-common/alternative.h>
#include <avahi-common/defs.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/strlst.h>

#include <map>

namespace lanterna
{

/// A TXT record in Avahi's form.
class AvahiText
{
public:
    explicit AvahiText(const ServiceText &text)
    {
        for (const QByteArray &entry : textEntries(text))
            m_list = avahi_string_list_add_arbitrary(m_list, reinterpret_cast<const uint8_t *>(entry.constData()), size_t(entry.size()));
        m_list = avahi_string_list_reverse(m_list); // entries are added in front
    }
    AvahiText(const AvahiText &) = delete;
    AvahiText &operator=(const AvahiText &) = delete;
    ~AvahiText() { avahi_string_list_free(m_list); }
    [[nodiscard]] AvahiStringList *list() const { return m_list; }

private:
    AvahiStringList *m_list = nullptr;
};

/// A registration's names in Avahi's form.
struct AvahiServiceTerms {
    explicit AvahiServiceTerms(const ServiceRegistration &service)
        : name(service.name.toUtf8()), type(nameForAvahi(service.type).value_or(QByteArray())),
          domain(nameForAvahi(service.domain).value_or(QByteArray()))
    {
    }
    /// Null for the system's default.
    [[nodiscard]] const char *givenDomain() const { return domain.isEmpty() ? nullptr : domain.constData(); }

    QByteArray name;
    QByteArray type;
    QByteArray domain;
};

/// Whom an entry group tells of its state: what Avahi's callbacks are given.
class AvahiGroupListener
{
public:
    virtual ~AvahiGroupListener() = default;
    virtual void groupChanged(AvahiEntryGroupState state) = 0;
};

/// What is announced over one of Avahi's two libraries; `Api` holds the names of its types and calls. Each publication has an entry group of its own.
///
/// Only while the host has a name (`setHostNamed`) is anything registered: services point to it. Lives on the thread of an `AvahiLoop`.
template <typename Api> class AvahiPublications
{
public:
    /// `failed` runs behind a call to Avahi that failed, to look whether the connection broke in it.
    AvahiPublications(const AvahiBackEnd::Events &events, std::function<void()> failed) : m_events(events), m_failed(std::move(failed)) { }
    AvahiPublications(const AvahiPublications &) = delete;
    AvahiPublications &operator=(const AvahiPublications &) = delete;

    void setContext(typename Api::Context *context)
    {
        m_context = context;
        announceAll();
    }
    /// Says whether the host has its name, which it loses while another one is looked for.
    void setHostNamed(bool named)
    {
        m_hostNamed = named;
        if (named) {
            announceAll();
            return;
        }
        for (auto &[id, publication] : m_publications)
            withdraw(publication);
    }
    void publish(quint64 id, const ServiceRegistration &service) { announce(m_publications.try_emplace(id, *this, id, service).first->second); }
    void setText(quint64 id, const ServiceText &text)
    {
        const auto place = m_publications.find(id);
        if (place == m_publications.end())
            return;
        Publication &publication = place->second;
        publication.service.text = text;
        if (!publication.registered)
            return;
        const AvahiText list(text);
        const AvahiServiceTerms terms(publication.service);
        if (Api::updateText(m_context, publication.group, terms, list.list()) < 0) {
            m_failed();
            withdraw(publication);
            announce(publication);
        }
    }
    void end(quint64 id)
    {
        const auto publication = m_publications.extract(id);
        if (publication && publication.mapped().group && Api::free(publication.mapped().group) < 0)
            m_failed();
    }

private:
    /// How often another name is tried at once. Only names that this machine itself has taken are refused at once; Avahi paces the others.
    static constexpr int mostNamesAtOnce = 100;

    struct Publication : AvahiGroupListener {
        Publication(AvahiPublications &ofOwner, quint64 withId, ServiceRegistration of) : owner(ofOwner), id(withId), service(std::move(of)) { }
        void groupChanged(AvahiEntryGroupState state) override { owner.groupChanged(*this, state); }

        AvahiPublications &owner;
        quint64 id;
        ServiceRegistration service;
        typename Api::Group *group = nullptr;
        bool registered = false; // with the group: it has records
    };

    void announceAll()
    {
        for (auto &[id, publication] : m_publications)
            announce(publication);
    }
    void announce(Publication &publication)
    {
        if (!m_context || !m_hostNamed || publication.registered)
            return;
        if (!publication.group)
            publication.group = Api::newGroup(m_context, &publication);
        publication.registered = publication.group && add(publication) && Api::commit(publication.group) >= 0;
        if (publication.registered)
            return;
        m_failed();
        if (publication.group)
            Api::reset(publication.group); // whoever tries again begins with an empty one
        m_events.publishingFailed(publication.id);
    }
    /// Adds the service to its group under the first name that this machine has not taken.
    bool add(Publication &publication)
    {
        const AvahiText text(publication.service.text);
        for (int attempt = 0; attempt < mostNamesAtOnce; ++attempt) {
            const AvahiServiceTerms terms(publication.service);
            const int result = Api::addService(m_context, publication.group, terms, publication.service.port, text.list());
            if (result != AVAHI_ERR_COLLISION)
                return result >= 0;
            Api::reset(publication.group); // some of the service's records may be in it
            rename(publication);
        }
        return false;
    }
    void rename(Publication &publication)
    {
        char *name = avahi_alternative_service_name(publication.service.name.toUtf8());
        publication.service.name = QString::fromUtf8(name);
        avahi_free(name);
        m_events.renamed(publication.id, publication.service.name);
    }
    void withdraw(Publication &publication)
    {
        if (publication.registered)
            Api::reset(publication.group);
        publication.registered = false;
    }

    void groupChanged(Publication &publication, AvahiEntryGroupState state)
    {
        if (!publication.registered)
            return; // the beginning of the group, or the end of its records
        if (state == AVAHI_ENTRY_GROUP_COLLISION) {
            // The same group again: Avahi counts its attempts, and lets those behind the fifteenth wait for a minute each.
            withdraw(publication);
            rename(publication);
            announce(publication);
        } else if (state == AVAHI_ENTRY_GROUP_FAILURE) {
            withdraw(publication);
            m_events.publishingFailed(publication.id);
        }
    }

    const AvahiBackEnd::Events &m_events;
    std::function<void()> m_failed;
    typename Api::Context *m_context = nullptr;
    bool m_hostNamed = false;
    std::map<quint64, Publication> m_publications; // they keep their places in memory, which Avahi's callbacks are given
};

} // namespace lanterna
