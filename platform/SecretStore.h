#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace lanterna
{

/// What came of a call: what went wrong in one line without the secret; null when nothing did.
struct SecretResult {
    QString secret; ///< null when there is none under the name
    QString error;
};

/// The person's secrets: a few words and tokens by name, kept where no other person of the machine can read them. Main thread only.
///
/// Each completion is called exactly once, on the main thread, never inside the call; none is called any more once the store is dropped. Calls are
/// carried out in the order in which they were made.
class SecretStore
{
public:
    using Completion = std::function<void(const SecretResult &)>;

    virtual ~SecretStore() = default;
    /// Reads a secret; none under this name is no error.
    virtual void read(const QString &name, Completion completion) = 0;
    /// Keeps a secret under a name, in place of the one before; a null one is removed. It is stored when the completion comes without an error.
    virtual void write(const QString &name, const QString &secret, Completion completion) = 0;
};

} // namespace lanterna
