#pragma once

#include "platform/Dispatch.h"
#include "platform/LoginItem.h"
#include "platform/linux/ProgramFiles.h"

#include <QDBusConnection>

#include <memory>

namespace lanterna
{

/// The login item of this desktop: the Background portal's in a sandbox, else an autostart entry. A program in a build tree has none and registers
/// nothing, unless the environment variable `LANTERNA_LOGIN_ITEM` is "1". What is given outlives it.
std::unique_ptr<LoginItem> desktopLoginItem(Dispatch &dispatch, const QDBusConnection &bus, const ProgramFiles &files, const QString &executable);

} // namespace lanterna
