#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QQmlParserStatus>
#include <QVariant>

namespace lanterna
{

/// One setting as a view sees it: what is stored, or the fallback while nothing of its kind is. Follows every change, whoever makes it.
///
///     StoredSetting { id: whichIP; key: "whichIP"; fallback: 4; onEdited: ... }
///
/// The fallback's type (text, whole number or boolean) says how the stored value is read.
class StoredSetting : public QObject, public QQmlParserStatus
{
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    QML_ELEMENT
    Q_PROPERTY(QString key MEMBER m_key)
    Q_PROPERTY(QVariant fallback MEMBER m_fallback)
    Q_PROPERTY(QVariant value READ value NOTIFY valueChanged)
public:
    using QObject::QObject;

    [[nodiscard]] const QVariant &value() const { return m_value; }
    /// Stores another value, which must be of the fallback's kind; an equal one changes nothing.
    Q_INVOKABLE void edit(const QVariant &value);

    void classBegin() override { }
    void componentComplete() override;

    Q_SIGNAL void valueChanged();
    /// The view itself stored another value; it is in the settings by now.
    Q_SIGNAL void edited();

private:
    [[nodiscard]] QVariant read() const;
    void refresh();

    QString m_key;
    QVariant m_fallback;
    QVariant m_value;
};

} // namespace lanterna
