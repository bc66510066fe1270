#include "cloud/WebDAVSave.h"

#include <utility>

namespace lanterna
{

namespace
{

constexpr int preconditionFailed = 412;
constexpr int lockedByOthers = 423;
constexpr int mostLostLocks = 3;
// As long as it takes for the weak tag of a fresh file to become a strong one.
constexpr int mostWaits = 4;
constexpr std::chrono::milliseconds oneWait{700};

/// Whether a write may have happened although the answer does not say so: the answer was lost, a server in between gave up, or somebody in between
/// answered in the server's place.
bool isOutcomeUnknown(const HttpAnswer &answer)
{
    if (answer.failure)
        return answer.failure->code == RecordErrorCode::networkFailure || answer.timesSent > 0;
    const int status = answer.status;
    return status == 500 || status == 502 || status == 504 || (status >= 200 && status < 300);
}

} // namespace

WebDAVSave::WebDAVSave(WebDAVConnection &connection, WebDAVTraits traits, const Record &record, QString version)
    : m_connection(connection), m_traits(traits), m_record(record), m_version(std::move(version)), m_name(webDAVResourceName(record.recordName))
{
}

void WebDAVSave::start(Completion completion)
{
    m_completion = std::move(completion);
    m_connection.compute<MadeRecordFile>(
        [record = m_record, version = m_version, date = m_connection.now()] { return makeWebDAVRecordFile(record, date, version); },
        [this](const MadeRecordFile &file) {
            m_file = file;
            if (file.problem.isEmpty())
                begin();
            else
                end(RecordError{RecordErrorCode::invalidArguments, file.problem, std::nullopt});
        });
}

void WebDAVSave::begin()
{
    if (m_traits.locks)
        lock();
    else if (!isUpdate())
        put({{"If-None-Match", "*"}});
    else if (const QByteArray tag = strongTag(); !tag.isEmpty())
        put({{"If-Match", tag}});
    else
        compare();
}

void WebDAVSave::lock()
{
    m_lock.emplace(m_connection, m_name, m_file.bytes.size());
    m_lock->take([this](const HttpAnswer &answer) {
        const bool isMissing = !answer.failure && (answer.status == 404 || answer.status == 409);
        if (m_lock->isHeld())
            underTheLock();
        else if (isMissing && isUpdate())
            end(m_connection.error(RecordErrorCode::unknownItem, QStringLiteral("There is no such record on %1.")));
        else if (isMissing && !m_triedFolder)
            makeFolder();
        else
            lockedOut(
                m_connection.errorOf(answer).value_or(m_connection.error(RecordErrorCode::networkFailure, QStringLiteral("%1 grants no lock."))));
    });
}

/// Whoever kept the lock for so long may have stored a version meanwhile, and then that is the better thing to say.
void WebDAVSave::lockedOut(const RecordError &error)
{
    if (error.code != RecordErrorCode::serviceUnavailable) {
        end(error);
        return;
    }
    m_connection.read(m_name, [this, error](const WebDAVResourceResult &seen) {
        const auto *resource = std::get_if<WebDAVResource>(&seen);
        const bool isRecord = resource && resource->file.state == ReadRecordFile::State::whole;
        end(isRecord && resource->file.record.changeTag != m_record.changeTag ? changedMeanwhile() : error);
    });
}

void WebDAVSave::underTheLock()
{
    if (isUpdate() && m_lock->madeTheFile())
        giveBackTheEmptyFile();
    else if (isUpdate() && m_traits.firmTags && !strongTag().isEmpty())
        put({{"If-Match", strongTag()}});
    else if (isUpdate())
        compare();
    else if (m_lock->madeTheFile())
        put({}); // there was none, and nobody else can have filled it
    else
        put({{"If-None-Match", "*"}});
}

/// The record that was to be replaced is gone; the lock has made a file of no bytes in its place.
void WebDAVSave::giveBackTheEmptyFile()
{
    m_connection.send("DELETE", m_name, {m_lock->proof()}, {},
        [this](const HttpAnswer &) { end(m_connection.error(RecordErrorCode::unknownItem, QStringLiteral("There is no such record on %1."))); });
}

/// Looks whether the file is the one that is to be replaced.
void WebDAVSave::compare()
{
    m_connection.read(m_name, [this](const WebDAVResourceResult &result) {
        if (const auto *error = std::get_if<RecordError>(&result))
            end(*error);
        else
            compared(std::get<WebDAVResource>(result));
    });
}

void WebDAVSave::compared(const WebDAVResource &stored)
{
    if (stored.isEmpty)
        end(m_connection.error(RecordErrorCode::unknownItem, QStringLiteral("There is no such record on %1.")));
    else if (stored.file.record.changeTag != m_record.changeTag)
        end(changedMeanwhile());
    else if (m_lock)
        put({}); // nobody else can change it
    else if (isStrongTag(stored.entityTag))
        put({{"If-Match", stored.entityTag}});
    else if (m_waits++ < mostWaits)
        m_connection.later(oneWait, [this] { compare(); });
    else
        end(m_connection.error(RecordErrorCode::serviceUnavailable, QStringLiteral("%1 gives no tag that tells this version from the next.")));
}

void WebDAVSave::put(const Headers &headers)
{
    Headers all = headers;
    all.emplace_back("Content-Type", "application/octet-stream");
    if (m_lock)
        all.append(m_lock->proof());
    m_connection.send("PUT", m_name, all, m_file.bytes, [this](const HttpAnswer &answer) { wasPut(answer); });
}

void WebDAVSave::wasPut(const HttpAnswer &answer)
{
    const bool isMissing = !answer.failure && (answer.status == 404 || answer.status == 409);
    if (!answer.failure && (answer.status == 201 || answer.status == 204))
        stored(entityTag(answer));
    else if (isMissing && !isUpdate() && !m_triedFolder)
        makeFolder();
    else if (isOutcomeUnknown(answer) || answer.status == preconditionFailed)
        lookAfter(answer);
    else if (answer.status == lockedByOthers && m_lock && m_lostLocks++ < mostLostLocks)
        m_lock->release([this] { begin(); }); // Apache may grant two locks in the same moment, and then forgets one
    else
        end(*m_connection.errorOf(answer));
}

void WebDAVSave::makeFolder()
{
    m_triedFolder = true;
    const auto made = [this](const std::optional<RecordError> &error) {
        if (error)
            end(*error);
        else
            begin();
    };
    if (m_lock) // it would keep out the one that is taken next
        m_lock->release([this, made] { m_connection.makeFolder(made); });
    else
        m_connection.makeFolder(made);
}

/// A write that is said to be refused, or of which nothing is said, may have been done: the first answer can have been lost, and the same request
/// be repeated on the way. The file tells; no other save makes the same bytes.
void WebDAVSave::lookAfter(const HttpAnswer &answer)
{
    const auto error = m_connection.errorOf(answer).value_or(
        m_connection.error(RecordErrorCode::networkFailure, QStringLiteral("%1 does not say what became of the record.")));
    m_connection.read(m_name,
        [this, error, wasRefused = answer.status == preconditionFailed](const WebDAVResourceResult &seen) { seenAfter(error, wasRefused, seen); });
}

void WebDAVSave::seenAfter(const RecordError &error, bool wasRefused, const WebDAVResourceResult &seen)
{
    const auto *resource = std::get_if<WebDAVResource>(&seen);
    const auto *problem = std::get_if<RecordError>(&seen);
    const bool isGone = (problem && problem->code == RecordErrorCode::unknownItem) || (resource && resource->isEmpty);
    // The line names the hash of every asset and each asset was compared with it, so that these are the bytes that were sent.
    if (resource && resource->file.state == ReadRecordFile::State::whole && resource->file.record.changeTag == m_file.record.changeTag)
        stored(resource->entityTag);
    else if (wasRefused && isUpdate() && isGone)
        end(m_connection.error(RecordErrorCode::unknownItem, QStringLiteral("There is no such record on %1.")));
    else if (wasRefused && resource && isGone && m_lock && !std::exchange(m_replacesNothing, true))
        put({}); // what another lock left behind
    else if (wasRefused && resource && isGone && isStrongTag(resource->entityTag) && !std::exchange(m_replacesNothing, true))
        put({{"If-Match", resource->entityTag}});
    else
        end(error);
}

void WebDAVSave::stored(const QByteArray &entityTag)
{
    m_connection.noteTag(m_name, m_file.record.changeTag, entityTag);
    end(m_file.record);
}

void WebDAVSave::end(const RecordResult<Record> &result)
{
    if (!m_lock) {
        m_completion(result);
        return;
    }
    m_lock->release([this, result] { m_completion(result); });
}

RecordError WebDAVSave::changedMeanwhile() const
{
    return m_connection.error(RecordErrorCode::serverRecordChanged, QStringLiteral("The record on %1 was changed meanwhile."));
}

} // namespace lanterna
