#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace lanterna
{

/// How far a sensor of the network got with handing over its snapshot.
enum class PeerState {
    snapshot, ///< there it is
    none, ///< it has none, or does not hand it out on this network
    notFound, ///< nobody says at which address it is
    noConnection, ///< refused, or no way there
    silent, ///< connected or not, no byte came in time
    slow, ///< the end did not come in time
    tooLong, ///< more bytes than any snapshot has
    crowded, ///< given up, so that all of them together stay within bounds
    cutShort, ///< the stream ended within the document
    noJson, ///< no JSON object, or one that is out of all bounds
    noSnapshot, ///< an object of another kind
};

/// What a peer has sent in the end.
struct PeerAnswer {
    PeerState state = PeerState::none;
    QVariantMap snapshot; ///< empty unless the state says that it is there

    bool operator==(const PeerAnswer &) const = default;
};

/// Collects what a peer sends, byte by byte, and gives up as soon as no snapshot can come of it: one JSON object as UTF-8, that ends where the stream
/// ends, with at most 64 MiB, 128 levels and 65,536 values. What it holds is what has come, and reading that afterwards takes a few times as much.
/// Any thread.
class PeerPayload
{
public:
    static constexpr qsizetype maximumSize = qsizetype{64} * 1024 * 1024;
    static constexpr int maximumValues = 65536; ///< a snapshot has eight
    static constexpr int longestWord = 512; ///< of a number, true, false or null; a double has 1,100 digits at most and needs 17

    /// Takes the next bytes. False when no snapshot can come of it any more; what has come is forgotten then.
    bool take(QByteArrayView bytes);
    /// The stream has ended. Forgets what has come.
    [[nodiscard]] PeerAnswer finish();

    /// How many bytes it holds.
    [[nodiscard]] qsizetype size() const { return m_bytes.size(); }

private:
    [[nodiscard]] bool goOn(QByteArrayView bytes);
    [[nodiscard]] bool goesOn(char byte);
    [[nodiscard]] bool begins(char byte);
    [[nodiscard]] bool goesOnWithin(char byte);

    QByteArray m_bytes;
    PeerState m_problem = PeerState::none; // why it gave up
    int m_depth = 0;
    int m_values = 0;
    int m_word = 0; // length of the word under way
    bool m_inText = false;
    bool m_escaped = false;
    bool m_complete = false; // the object has ended
};

/// How many devices a snapshot lists, by docs/formats/snapshot.md: pieces with fewer than four fields do not count.
qsizetype deviceCount(const QVariantMap &snapshot);

} // namespace lanterna
