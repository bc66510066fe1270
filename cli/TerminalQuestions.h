#pragma once

#include <QString>

#include <optional>

namespace lanterna
{

/// Asks on standard error and reads one line from standard input, a terminal or not, without its line end and without blanks around it. Nothing at the
/// end of the input, or for a line of more than 4 KiB. Blocks while the person thinks.
std::optional<QString> askLine(const QString &question);

/// The same for a password: a terminal does not show what is typed, also when a signal ends the program meanwhile, and blanks around it count.
std::optional<QString> askHidden(const QString &question);

} // namespace lanterna
