#pragma once

#include <QString>

#include <functional>

namespace lanterna
{

/// The program among those that start with the person's session. Main thread only.
class LoginItem
{
public:
    /// Who asks. What the person switched off in the desktop's own settings, only the person switches on again.
    enum class Asker { program, person };
    /// Why it failed, in one line; empty when it is done. Called once, on the main thread, never inside the call.
    using Completion = std::function<void(const QString &error)>;

    virtual ~LoginItem() = default;
    /// Whether the next session will start the program, as far as is known. A wish that is under way counts as fulfilled.
    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Whether anything is known; false where only asking for the one or the other tells.
    [[nodiscard]] virtual bool isKnown() const { return true; }
    virtual void registerItem(Asker asker, Completion completion) = 0;
    virtual void unregisterItem(Completion completion) = 0;
};

} // namespace lanterna
