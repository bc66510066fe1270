#include "cloud/JsonWriting.h"

#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <QVariantList>

#include <cmath>
#include <optional>

namespace lanterna
{

namespace
{

/// Looks through a value for what JSON cannot hold.
class ObstacleSearch
{
public:
    /// Whether there is anything; `obstacle` then says what.
    bool findsAny(const QVariant &value, const QString &place, int depth = 0)
    {
        switch (value.typeId()) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
        case QMetaType::Bool:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::QString:
            return false;
        case QMetaType::Double:
            return !std::isfinite(value.toDouble()) && found(QStringLiteral("a number that is not finite"), place);
        case QMetaType::QVariantMap:
            return findsAnyIn(value.toMap(), place, depth + 1);
        case QMetaType::QVariantList:
            return findsAnyIn(value.toList(), place, depth + 1);
        case QMetaType::QDateTime:
            return found(QStringLiteral("a date"), place);
        default:
            return findsAnyOnceWidened(value, place, depth);
        }
    }

    QString obstacle;
    bool isToBeWidened = false; ///< whether a value is such that it can be written in another form only

private:
    bool found(const QString &what, const QString &place)
    {
        obstacle = QStringLiteral("%1 at %2").arg(what, place);
        return true;
    }

    bool findsDepth(const QString &place, int depth)
    {
        return depth > maximumSettingDepth && found(QStringLiteral("more than %1 levels").arg(maximumSettingDepth), place);
    }

    bool findsAnyIn(const QVariantMap &dictionary, const QString &place, int depth)
    {
        if (findsDepth(place, depth))
            return true;
        for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
            // Nearly all are texts: their place need not be put together.
            if (entry->typeId() != QMetaType::QString && findsAny(entry.value(), place + u'/' + entry.key(), depth))
                return true;
        }
        return false;
    }

    bool findsAnyIn(const QVariantList &list, const QString &place, int depth)
    {
        if (findsDepth(place, depth))
            return true;
        for (qsizetype at = 0; at < list.size(); ++at) {
            if (findsAny(list[at], place + u'/' + QString::number(at), depth))
                return true;
        }
        return false;
    }

    bool findsAnyOnceWidened(const QVariant &value, const QString &place, int depth)
    {
        const std::optional<QVariant> widened = canonicalValue(value);
        if (!widened || widened->typeId() == value.typeId())
            return found(QStringLiteral("a value of type %1").arg(QLatin1String(value.metaType().name())), place);
        isToBeWidened = true;
        return findsAny(*widened, place, depth);
    }
};

} // namespace

WrittenJson writeJson(const QVariantMap &dictionary, const QString &name)
{
    ObstacleSearch search;
    if (search.findsAny(dictionary, name))
        return {{}, search.obstacle};
    const std::optional<QVariant> widened = search.isToBeWidened ? canonicalValue(dictionary) : QVariant(dictionary);
    return widened ? WrittenJson{compactJson(*widened), {}} : WrittenJson{{}, QStringLiteral("a value that is out of range")};
}

} // namespace lanterna
