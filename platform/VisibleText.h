#pragma once

#include <QStringView>

namespace lanterna
{

/// Whether a text shows anything at all: false when it is empty or made of blanks of whatever width, control characters, format characters
/// (zero-width ones among them), marks without a letter to stand on, and letters that are drawn as nothing. What a font may not know counts as shown.
/// Any thread.
bool hasVisibleText(QStringView text);

} // namespace lanterna
