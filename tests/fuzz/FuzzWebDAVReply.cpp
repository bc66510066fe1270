#include "cloud/WebDAVAnswers.h"
#include "cloud/WebDAVRecordFile.h"

#include <cstddef>
#include <cstdint>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

/// What is taken for a whole record can be made into a file again that says the same.
void readFile(const QByteArray &bytes)
{
    const ReadRecordFile read = readWebDAVRecordFile(bytes);
    qsizetype size = 0;
    for (const QByteArray &asset : read.record.assets)
        size += asset.size();
    require(size < bytes.size() || (size == 0 && bytes.isEmpty()));
    require((read.state == ReadRecordFile::State::noRecord) == read.record.changeTag.isEmpty());
    if (read.state != ReadRecordFile::State::whole)
        require(size == 0);
    else
        require(isRecordWord(read.record.recordName) && isWebDAVResourceName(webDAVResourceName(read.record.recordName)));
    const MadeRecordFile made = makeWebDAVRecordFile(read.record, read.record.modificationDate, QStringLiteral("1"));
    if (read.state != ReadRecordFile::State::whole || !made.problem.isEmpty())
        return;
    const ReadRecordFile again = readWebDAVRecordFile(made.bytes);
    require(again.state == ReadRecordFile::State::whole && again.record == made.record && again.record.assets == read.record.assets);
}

void readListing(const QByteArray &bytes)
{
    const auto members = parseMultistatus(bytes);
    if (!members)
        return;
    require(members->size() <= mostWebDAVMembers);
    for (const WebDAVMember &member : *members)
        require(!member.fileName.isEmpty());
}

void readHeader(const QByteArray &value)
{
    HttpAnswer answer;
    answer.status = 429;
    for (const char *name : {"Retry-After", "Date", "ETag", "Lock-Token", "DAV", "Location"})
        answer.headers.append({name, value});
    const QDateTime now(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    const auto error = webDAVError(answer, QStringLiteral("cloud.example"), now);
    require(error && error->code == RecordErrorCode::requestRateLimited && error->retryAfter.value_or(0) >= 0);
    // What is sent back in a header cannot begin another one.
    for (const QByteArray &text : {entityTag(answer), lockToken(answer)})
        require(!text.contains('\n') && !text.contains('\r') && !text.contains('\0'));
    (void)offersLocks(answer);
}

} // namespace

/// What a WebDAV server sends: the first byte says whether it is a record's file, the listing of a folder or a header's value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size) - 1);
    switch (data[0] % 3) {
    case 0:
        readFile(bytes);
        break;
    case 1:
        readListing(bytes);
        break;
    case 2:
        readHeader(bytes);
        break;
    }
    return 0;
}
