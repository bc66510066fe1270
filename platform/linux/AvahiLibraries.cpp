#include "platform/linux/AvahiLibraries.h"

#include <dlfcn.h>

namespace lanterna
{

namespace
{

/// A library that stays loaded.
class LibraryFile
{
public:
    explicit LibraryFile(const char *name) : m_handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)), m_complete(m_handle != nullptr) { }
    template <typename Function> void find(const char *name, Function *&function)
    {
        function = m_handle ? reinterpret_cast<Function *>(dlsym(m_handle, name)) : nullptr;
        m_complete = m_complete && function;
    }
    [[nodiscard]] bool isComplete() const { return m_complete; }

private:
    void *m_handle;
    bool m_complete;
};

} // namespace

const AvahiClientLibrary *AvahiClientLibrary::loaded()
{
    static AvahiClientLibrary library{};
    static const bool complete = [] {
        LibraryFile file("libavahi-client.so.3");
        file.find("avahi_client_new", library.clientNew);
        file.find("avahi_client_free", library.clientFree);
        file.find("avahi_client_errno", library.clientErrno);
        file.find("avahi_client_get_host_name", library.clientGetHostName);
        file.find("avahi_service_browser_new", library.serviceBrowserNew);
        file.find("avahi_service_browser_free", library.serviceBrowserFree);
        file.find("avahi_service_resolver_new", library.serviceResolverNew);
        file.find("avahi_service_resolver_free", library.serviceResolverFree);
        file.find("avahi_entry_group_new", library.entryGroupNew);
        file.find("avahi_entry_group_add_service_strlst", library.entryGroupAddServiceStrlst);
        file.find("avahi_entry_group_update_service_txt_strlst", library.entryGroupUpdateServiceTxtStrlst);
        file.find("avahi_entry_group_commit", library.entryGroupCommit);
        file.find("avahi_entry_group_reset", library.entryGroupReset);
        file.find("avahi_entry_group_free", library.entryGroupFree);
        return file.isComplete();
    }();
    return complete ? &library : nullptr;
}

const AvahiCoreLibrary *AvahiCoreLibrary::loaded()
{
    static AvahiCoreLibrary library{};
    static const bool complete = [] {
        LibraryFile file("libavahi-core.so.7");
        file.find("avahi_server_config_init", library.serverConfigInit);
        file.find("avahi_server_config_free", library.serverConfigFree);
        file.find("avahi_server_new", library.serverNew);
        file.find("avahi_server_free", library.serverFree);
        file.find("avahi_server_errno", library.serverErrno);
        file.find("avahi_server_get_host_name", library.serverGetHostName);
        file.find("avahi_server_set_host_name", library.serverSetHostName);
        file.find("avahi_s_service_browser_prepare", library.sServiceBrowserPrepare);
        file.find("avahi_s_service_browser_start", library.sServiceBrowserStart);
        file.find("avahi_s_service_browser_free", library.sServiceBrowserFree);
        file.find("avahi_s_service_resolver_prepare", library.sServiceResolverPrepare);
        file.find("avahi_s_service_resolver_start", library.sServiceResolverStart);
        file.find("avahi_s_service_resolver_free", library.sServiceResolverFree);
        file.find("avahi_s_entry_group_new", library.sEntryGroupNew);
        file.find("avahi_s_entry_group_commit", library.sEntryGroupCommit);
        file.find("avahi_s_entry_group_reset", library.sEntryGroupReset);
        file.find("avahi_s_entry_group_free", library.sEntryGroupFree);
        file.find("avahi_server_add_service_strlst", library.serverAddServiceStrlst);
        file.find("avahi_server_update_service_txt_strlst", library.serverUpdateServiceTxtStrlst);
        file.find("avahi_set_log_function", library.setLogFunction);
        return file.isComplete();
    }();
    return complete ? &library : nullptr;
}

} // namespace lanterna
