#include "cli/CloudSignInRun.h"

#include "cli/TextWidth.h"
#include "cloud/ChosenRecordDatabase.h"

#include <utility>

namespace lanterna
{

namespace
{

constexpr int columns = 80;

} // namespace

CloudSignInRun::CloudSignInRun(CloudSignInPorts ports)
    : m_ports(std::move(ports)),
      m_signIn({m_ports.dispatch, m_ports.settings, cloudKitConfiguration(m_ports.settings), m_ports.session, m_ports.callbacks,
          m_ports.settings.text(QStringLiteral("cloudKitCallback")), [this](const QUrl &page) { return open(page); },
          [this](const QString &question, const std::function<void(bool)> &answer) {
              m_ports.dispatch.mainAsync([answer, yes = m_ports.confirm(question)] { answer(yes); });
          },
          [this](const QString &line) { m_ports.print(line + u'\n'); }})
{
}

void CloudSignInRun::start(std::function<void()> finished)
{
    m_finished = std::move(finished);
    m_signIn.start([this](const CloudKitSignInResult &result) { ended(result); });
}

bool CloudSignInRun::open(const QUrl &page)
{
    const QString how = m_ports.startBrowser(page)
        ? QStringLiteral("A browser window opens with the sign-in page of %1. If none does, open this address in a browser on this machine:")
        : QStringLiteral(
            "There is no desktop to open a browser on. Open this address of %1 in a browser. When that then comes to an address which it cannot "
            "open, call 'lanternactl cloud callback' on this machine; it asks for that address:");
    m_ports.print(wrapped(how.arg(page.host()), columns) + u'\n' + page.toString(QUrl::FullyEncoded)
        + QStringLiteral("\n\nWaiting for two minutes at most; Ctrl-C ends it.\n"));
    return true;
}

void CloudSignInRun::ended(const CloudKitSignInResult &result)
{
    if (!result.error.isEmpty()) {
        m_result = {1, {}, result.advice.isEmpty() ? result.error : result.error + u'\n' + wrapped(result.advice, columns).chopped(1)};
    } else {
        QString words = result.wasSignedIn ? QStringLiteral("Already signed in to iCloud, as %1; 'lanternactl cloud sign-out' ends that.")
                                           : QStringLiteral("Signed in to iCloud, as %1.");
        if (chosenBackend(m_ports.settings) != RecordBackend::cloudKit)
            words += QStringLiteral(" The document is still kept elsewhere; 'lanternactl cloud setup' chooses iCloud.");
        m_result = {0, wrapped(words.arg(result.userRecordName), columns), {}};
    }
    m_finished();
}

} // namespace lanterna
