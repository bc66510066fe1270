#pragma once

#include <QByteArrayView>
#include <QString>

#include <variant>
#include <vector>

namespace lanterna
{

/// Collections within each other that an outline goes through, the outermost included: as many as the platforms that share the document read.
constexpr int maximumOutlineDepth = 512;

/// The bytes of one member of an object; both views look into the text that was outlined.
struct JsonMember {
    QByteArrayView key; ///< in quotes, escapes and all
    QByteArrayView value;
};

/// What a JSON text is, and where its parts stand.
struct JsonOutline {
    enum class Kind { dictionary, array, text, number, boolean, null };

    Kind kind = Kind::null;
    std::vector<JsonMember> members; ///< of a dictionary: all of them as they stand, also those with equal keys
    std::vector<QByteArrayView> tooDeep; ///< the collections that stand below `keptDepth` others; none lies in another
};

/// Where and why a text is no JSON, in words for a log line; nothing of the text itself is in them.
struct JsonDefect {
    QString words;
};

/// Checks a whole text against the grammar of RFC 8259, and that it is UTF-8, without turning anything into values. So each part can be carried over
/// byte for byte, whether or not its numbers are ones that a program can hold: parsers at hand refuse 1e400, or do not look at what they are not
/// asked for. Escaped surrogates need no partner. A byte order mark is not passed over.
///
/// Needs no stack for depth. Pure; any thread.
std::variant<JsonOutline, JsonDefect> outlineJson(QByteArrayView text, int keptDepth = maximumOutlineDepth);

} // namespace lanterna
