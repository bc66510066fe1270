#include "platform/linux/desktop/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QProcess>

#include <memory>
#include <utility>

namespace lanterna
{

namespace
{

/// wl-copy hands over within milliseconds and leaves a process of its own behind; one that has not by now has no compositor to talk to.
constexpr std::chrono::seconds commandTimeout{5};

} // namespace

void QtPasteboard::setText(const QString &text, std::function<void(bool copied)> completion)
{
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        setThroughCommand(text, std::move(completion));
        return;
    }
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (text.isEmpty())
        clipboard->clear();
    else
        clipboard->setText(text);
    const bool copied = text.isEmpty() || clipboard->ownsClipboard();
    m_dispatch.mainAsync([copied, completion = std::move(completion)] { completion(copied); });
}

void QtPasteboard::setThroughCommand(const QString &text, std::function<void(bool copied)> completion)
{
    struct Run {
        std::function<void(bool)> completion;
        TimerHandle deadline;
    };
    auto run = std::make_shared<Run>();
    run->completion = std::move(completion);
    auto *process = new QProcess(&m_context);
    // The text stays with the process that wl-copy leaves behind; that one must not hold our ends of a pipe.
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    const auto finish = [this, run, process](bool copied) {
        if (!run->completion)
            return;
        run->deadline.cancel();
        process->deleteLater();
        m_dispatch.mainAsync([copied, done = std::exchange(run->completion, nullptr)] { done(copied); });
    };
    QObject::connect(process, &QProcess::finished, &m_context,
        [finish](int exitCode, QProcess::ExitStatus status) { finish(status == QProcess::NormalExit && exitCode == 0); });
    QObject::connect(process, &QProcess::errorOccurred, &m_context, [finish](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(false);
    });
    run->deadline = m_dispatch.performAfter(commandTimeout, [process] { process->kill(); });
    process->start(QStringLiteral("wl-copy"), text.isEmpty() ? QStringList{QStringLiteral("--clear")} : QStringList{});
    process->write(text.toUtf8());
    process->closeWriteChannel();
}

} // namespace lanterna
