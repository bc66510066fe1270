#include "cloud/CloudKitSession.h"
#include "cloud/SignInCallback.h"
#include "platform/linux/LoopbackCallback.h"
#include "platform/linux/URLSchemeHandler.h"

#include <cstddef>
#include <cstdint>

using namespace lanterna;

namespace
{

const SignInReturn expected{QStringLiteral("cloudkit-icloud.a"), QStringLiteral("http://127.0.0.1:8123/b")};

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

void readCallback(const QByteArray &callback)
{
    const auto token = sessionTokenIn(callback, expected);
    if (!token)
        return;
    require(isSessionToken(token->toLatin1()));
    require(callback.startsWith("http://127.0.0.1:8123/b") || callback.toLower().startsWith("cloudkit-icloud.a:"));
    require(callback.contains("ckWebAuthToken=") || callback.contains("ckSession="));
}

/// A callback always is of our own address, whatever a request says.
void readRequest(const QByteArray &head)
{
    const LoopbackRequest request = readLoopbackRequest(head, expected.address);
    require((request.status == 200) == !request.callback.isEmpty());
    require(request.callback.isEmpty() || request.callback == expected.address.toLatin1()
        || request.callback.startsWith(expected.address.toLatin1() + '?'));
    require(!request.callback.contains(' ') && !request.callback.contains('\n'));
    readCallback(request.callback);
}

/// Taking our program out of the person's list takes nothing else.
void readDefaults(const QByteArray &list)
{
    const QByteArray without = withoutSchemeHandler(list);
    require(without.size() <= list.size() && withoutSchemeHandler(without) == without);
    require(!isSchemeDefault(without, expected.scheme));
    if (!list.contains("lanterna-sign-in.desktop"))
        require(without == list);
}

} // namespace

/// What a browser or a desktop may bring: the first byte says whether it is an address, a request to our own, or a list of default programs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size) - 1);
    switch (data[0] % 3) {
    case 0:
        readCallback(bytes);
        break;
    case 1:
        readRequest(bytes);
        break;
    case 2:
        readDefaults(bytes);
        break;
    }
    return 0;
}
