#include "cli/TerminalDesktop.h"

#include <QCoreApplication>

#include <cstdio>
#include <string>

#include <unistd.h>

namespace lanterna
{

bool askYesNo(const QString &question)
{
    if (isatty(STDIN_FILENO) != 1)
        return false;
    std::fprintf(stderr, "%s [y/N] ", qPrintable(question));
    std::fflush(stderr);
    std::string answer;
    for (int character = std::getchar(); character != EOF && character != '\n'; character = std::getchar())
        answer += static_cast<char>(character);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void TerminalAlerts::runModal(const Alert &alert, std::function<void(int button)> completion)
{
    int answer = alert.cancelButton;
    if (alert.buttons.size() > 1) {
        const int other = alert.cancelButton == 0 ? 1 : 0;
        if (askYesNo(alert.message + QStringLiteral(": ") + alert.informativeText + QStringLiteral(" ") + alert.buttons.value(other)
                + QStringLiteral("?")))
            answer = other;
    } else {
        std::fprintf(stderr, "%s: %s\n", qPrintable(alert.message), qPrintable(alert.informativeText));
    }
    m_dispatch.mainAsync([completion = std::move(completion), answer] { completion(answer); });
}

void TerminalPasteboard::setText(const QString &, std::function<void(bool)> completion)
{
    m_dispatch.mainAsync([completion = std::move(completion)] { completion(false); });
}

void TerminalWorkspace::terminate()
{
    QCoreApplication::quit();
}

} // namespace lanterna
