#include "platform/linux/desktop/QtPasteboard.h"

#include "platform/linux/desktop/X11Clipboard.h"

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

void QtPasteboard::setText(const QString &text, Completion completion)
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
    const bool copied = text.isEmpty() || ownsX11Clipboard().value_or(clipboard->ownsClipboard());
    m_dispatch.mainAsync([copied, completion = std::move(completion)] { completion(copied); });
}

void QtPasteboard::setThroughCommand(const QString &text, Completion completion)
{
    // Side by side, the one that is quicker would lose its text to the other.
    if (const std::optional<Copy> superseded = std::exchange(m_waiting, Copy{text, std::move(completion)}))
        m_dispatch.mainAsync([done = superseded->completion] { done(false); });
    if (!m_running)
        runWaiting();
}

void QtPasteboard::runWaiting()
{
    if (!m_waiting)
        return;
    const Copy copy = *std::exchange(m_waiting, std::nullopt);
    struct Run {
        Completion completion;
        TimerHandle deadline;
    };
    auto run = std::make_shared<Run>();
    run->completion = copy.completion;
    auto *process = new QProcess(&m_context);
    m_running = true;
    // The text stays with the process that wl-copy leaves behind; that one must not hold our ends of a pipe.
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    const auto finish = [this, run, process](bool copied) {
        if (!run->completion)
            return;
        run->deadline.cancel();
        process->deleteLater();
        m_dispatch.mainAsync([copied, done = std::exchange(run->completion, nullptr)] { done(copied); });
        m_running = false;
        runWaiting();
    };
    QObject::connect(process, &QProcess::finished, &m_context,
        [finish](int exitCode, QProcess::ExitStatus status) { finish(status == QProcess::NormalExit && exitCode == 0); });
    QObject::connect(process, &QProcess::errorOccurred, &m_context, [finish](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(false);
    });
    run->deadline = m_dispatch.performAfter(commandTimeout, [process] { process->kill(); });
    // Untold, wl-copy guesses the type from the content: a text may begin like a picture.
    const QStringList asText{QStringLiteral("--type"), QStringLiteral("text/plain")};
    process->start(QStringLiteral("wl-copy"), copy.text.isEmpty() ? QStringList{QStringLiteral("--clear")} : asText);
    process->write(copy.text.toUtf8());
    process->closeWriteChannel();
}

} // namespace lanterna
