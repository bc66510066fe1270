#pragma once

#include "platform/Dispatch.h"
#include "platform/SecretStore.h"
#include "platform/SystemLog.h"

#include <map>
#include <memory>

namespace lanterna
{

/// Secrets in a file of their own, `secrets.json` (0600): one JSON object of texts by name. For machines whose desktop has no keyring.
///
/// Several processes may use one file: it is replaced in one step, under a lock (`secrets.lock` beside it). A secret is on the disk proper when its
/// completion comes. A file that is no such object is set aside as `secrets.json.damaged-1`, with one line in the log, and a new one begun.
///
/// Main thread; files are read and written on a queue. The log outlives the dispatch. Writes that were handed over are carried out although the store
/// is dropped.
class FileSecretStore : public SecretStore
{
public:
    /// The folder, usually `dataFolder`, is made when the first secret is kept (0700).
    FileSecretStore(Dispatch &dispatch, const QString &folder, SystemLog &log);

    void read(const QString &name, Completion completion) override;
    void write(const QString &name, const QString &secret, Completion completion) override;

private:
    void run(std::function<SecretResult()> work, Completion completion);

    Dispatch &m_dispatch;
    QString m_folder;
    SystemLog &m_log;
    std::shared_ptr<SerialQueue> m_queue; // made at the first call
    std::map<quint64, Completion> m_completions;
    quint64 m_lastNumber = 0;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
