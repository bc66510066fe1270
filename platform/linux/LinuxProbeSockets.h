#pragma once

#include "platform/ProbeSockets.h"

namespace lanterna
{

/// The sockets of the kernel. All are non-blocking, and no child program inherits them.
///
/// An ICMP socket is there for the groups that the kernel's setting net.ipv4.ping_group_range allows, and for nobody else, not even for root: there
/// `openICMP` says "Permission denied".
class LinuxProbeSockets : public ProbeSockets
{
public:
    [[nodiscard]] Opened openICMP() override;
    [[nodiscard]] Opened openUDP(ProbeAudience audience) override;
    [[nodiscard]] std::shared_ptr<void> startConnect(const QString &address, quint16 port) override;
};

} // namespace lanterna
