#pragma once

#include <QByteArray>

namespace lanterna
{

/// The JSON text with what strict parsers reject, though its meaning is plain, put right: bytes that are no UTF-8 and escaped surrogates without a
/// partner become U+FFFD, numbers beyond the range of a double become the largest double of their sign. Other text stays as it is, byte for byte.
///
/// Works on tokens only, so it neither needs nor makes the text well formed. Pure; any thread.
QByteArray mendedJson(const QByteArray &text);

} // namespace lanterna
