#pragma once

#include <QString>
#include <QStringList>

namespace lanterna
{

/// What `lanternactl cloud` was asked for.
struct CloudOptions {
    enum class Action {
        status, ///< where the document lies and how the last save went
        pull, ///< read the stored document into the settings, as at a start
        push, ///< save the stored tables and the latest snapshot now
        exportFile, ///< write the stored document into a file
        importFile, ///< put a file in the stored document's place
        setUp, ///< ask where it shall lie, and try that
        signIn, ///< to iCloud, in a browser
        signOut, ///< forget password and session
        callback, ///< hand the address with which a browser came back to the sign-in that waits
    };
    Action action = Action::status;
    QString file; ///< of `exportFile` and `importFile`; the address of `callback`, which holds a secret
    bool yes = false; ///< ask no person
    bool operator==(const CloudOptions &) const = default;
};

/// Options as read, or what is wrong with them.
struct ParsedCloudOptions {
    CloudOptions options;
    QString error; ///< one line, a matter of usage (exit status 2); empty when all is well
};

/// Reads the arguments after "cloud".
ParsedCloudOptions parseCloudOptions(const QStringList &arguments);

} // namespace lanterna
