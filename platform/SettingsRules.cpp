#include "platform/SettingsRules.h"

#include "platform/RecordServerURL.h"

#include <algorithm>
#include <array>

namespace lanterna
{

namespace
{

enum class Rule { words, address, recordServer, callback };

struct KeyRule {
    const char *key;
    Rule rule;
    const char *problem; ///< when the value is none of the words, or no such address
    std::array<const char *, 3> words = {};
};

constexpr const char *serverProblem = "the address must begin with https:// (http:// on this machine only)";

constexpr std::array rules = {
    KeyRule{"cloudBackend", Rule::words, "expected embedded, cloudkit or webdav", {"embedded", "cloudkit", "webdav"}},
    KeyRule{"cloudKitBaseURL", Rule::recordServer, serverProblem},
    KeyRule{"cloudKitCallback", Rule::callback, "the address must be http://127.0.0.1:PORT/PATH, with a port from 1024 on"},
    KeyRule{"cloudKitEnvironment", Rule::words, "expected development or production", {"development", "production", nullptr}},
    KeyRule{"cloudWebDAVURL", Rule::recordServer, serverProblem},
    KeyRule{"configurationURL", Rule::address, nullptr},
};

bool isOneOf(const std::array<const char *, 3> &words, const QString &text)
{
    return std::any_of(words.begin(), words.end(), [&](const char *word) { return word != nullptr && text == QLatin1String(word); });
}

} // namespace

QString settingProblem(const QString &key, const QVariant &value)
{
    if (value.typeId() != QMetaType::QString)
        return {};
    const QString text = value.toString();
    const auto *const rule = std::find_if(rules.begin(), rules.end(), [&](const KeyRule &one) { return key == QLatin1String(one.key); });
    const bool hasRule = rule != rules.end();
    const bool isAddress = (hasRule && rule->rule != Rule::words) || text.contains(QLatin1String("://"));
    if (isAddress && holdsUserOrPassword(text))
        return QStringLiteral("an address must hold no user and no password");
    if (hasRule && rule->rule == Rule::words && !isOneOf(rule->words, text))
        return QString::fromLatin1(rule->problem);
    if (hasRule && rule->rule == Rule::recordServer && !isRecordServerURL(QUrl(text)))
        return QString::fromLatin1(rule->problem);
    if (hasRule && rule->rule == Rule::callback && !isCallbackAddress(text))
        return QString::fromLatin1(rule->problem);
    return {};
}

} // namespace lanterna
