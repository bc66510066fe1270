#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace lanterna
{

/// What may be the name of a Wi-Fi stub, a network name that the person types where none can be read. In QML the singleton `WiFiStub`.
class WiFiStub : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
public:
    static constexpr qsizetype longestName = 32; ///< as many bytes has a network name (IEEE 802.11, SSID element); here they are characters

    using QObject::QObject;

    /// Characters as people count them: a letter with its accents is one, an emoji of several parts too.
    static qsizetype characterCount(const QString &text);

    /// The name that an input stands for: without blanks and line breaks at both ends.
    Q_INVOKABLE static QString candidate(const QString &input);
    /// Whether this candidate may be saved.
    Q_INVOKABLE static bool valid(const QString &candidate);
    /// Whether an input, blanks included, has more characters than a name.
    Q_INVOKABLE static bool tooLong(const QString &input);
};

} // namespace lanterna
