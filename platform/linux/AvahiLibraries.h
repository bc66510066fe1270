#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>

namespace lanterna
{

// Avahi's two libraries both have a function "avahi_entry_group_free", of different parameters, and call it themselves. In a program that is linked to
// both, one of them would call the other's. So neither is linked: each is loaded into a scope of its own.

/// The calls to avahi-daemon, of libavahi-client.
struct AvahiClientLibrary {
    decltype(&avahi_client_new) clientNew;
    decltype(&avahi_client_free) clientFree;
    decltype(&avahi_client_errno) clientErrno;
    decltype(&avahi_client_get_host_name) clientGetHostName;
    decltype(&avahi_service_browser_new) serviceBrowserNew;
    decltype(&avahi_service_browser_free) serviceBrowserFree;
    decltype(&avahi_service_resolver_new) serviceResolverNew;
    decltype(&avahi_service_resolver_free) serviceResolverFree;
    decltype(&avahi_entry_group_new) entryGroupNew;
    decltype(&avahi_entry_group_add_service_strlst) entryGroupAddServiceStrlst;
    decltype(&avahi_entry_group_update_service_txt_strlst) entryGroupUpdateServiceTxtStrlst;
    decltype(&avahi_entry_group_commit) entryGroupCommit;
    decltype(&avahi_entry_group_reset) entryGroupReset;
    decltype(&avahi_entry_group_free) entryGroupFree;

    /// Null where the library is not installed. Any thread.
    static const AvahiClientLibrary *loaded();
};

/// The embedded stack, of libavahi-core.
struct AvahiCoreLibrary {
    decltype(&avahi_server_config_init) serverConfigInit;
    decltype(&avahi_server_config_free) serverConfigFree;
    decltype(&avahi_server_new) serverNew;
    decltype(&avahi_server_free) serverFree;
    decltype(&avahi_server_errno) serverErrno;
    decltype(&avahi_server_get_host_name) serverGetHostName;
    decltype(&avahi_server_set_host_name) serverSetHostName;
    decltype(&avahi_s_service_browser_prepare) sServiceBrowserPrepare;
    decltype(&avahi_s_service_browser_start) sServiceBrowserStart;
    decltype(&avahi_s_service_browser_free) sServiceBrowserFree;
    decltype(&avahi_s_service_resolver_prepare) sServiceResolverPrepare;
    decltype(&avahi_s_service_resolver_start) sServiceResolverStart;
    decltype(&avahi_s_service_resolver_free) sServiceResolverFree;
    decltype(&avahi_s_entry_group_new) sEntryGroupNew;
    decltype(&avahi_s_entry_group_commit) sEntryGroupCommit;
    decltype(&avahi_s_entry_group_reset) sEntryGroupReset;
    decltype(&avahi_s_entry_group_free) sEntryGroupFree;
    decltype(&avahi_server_add_service_strlst) serverAddServiceStrlst;
    decltype(&avahi_server_update_service_txt_strlst) serverUpdateServiceTxtStrlst;
    decltype(&avahi_set_log_function) setLogFunction;

    /// Null where the library is not installed. Any thread.
    static const AvahiCoreLibrary *loaded();
};

} // namespace lanterna
