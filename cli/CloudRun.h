#pragma once

#include "app/OwnersCloud.h"
#include "cli/CloudCommand.h"
#include "cli/SettingsCommand.h"

#include <functional>
#include <memory>

namespace lanterna
{

/// What a run of `lanternactl cloud` needs. The referenced objects outlive it.
struct CloudRunPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    SystemLog &log;
    CloudParts cloud;
    std::function<SecretStore &()> secrets;
    QString embeddedFile; ///< path of the embedded database, for people
    std::function<bool(const QString &question)> confirm; ///< asks a person
};

/// One command of `lanternactl cloud` other than those that ask for an account. Main thread only.
///
/// A running Lanterna may use the same store and the same settings: what one of both saves is not lost by the other's save.
class CloudRun
{
public:
    CloudRun(CloudRunPorts ports, CloudOptions options);
    ~CloudRun();

    /// Begins; `finished` comes once, on the main thread, never inside the call.
    void start(std::function<void()> finished);
    /// What to print, and the exit code.
    [[nodiscard]] const CommandResult &result() const { return m_result; }

private:
    using Then = std::function<void(const Record &record)>;

    void status();
    void pull();
    void push();
    void exportDocument(const Record &record);
    void importDocument();
    void replace(const Record &record, const QByteArray &document);
    /// Goes on with the stored record; with a new one where there is none and `mayBeNew`.
    void withRecord(bool mayBeNew, Then then);
    void finish(const CommandResult &result);
    void fail(const QString &line) { finish({1, {}, line}); }

    CloudRunPorts m_ports;
    CloudOptions m_options;
    std::optional<QVariantMap> m_tables;
    CloudDocumentSync m_sync;
    std::function<void()> m_finished;
    CommandResult m_result;
    bool m_done = false;
};

} // namespace lanterna
