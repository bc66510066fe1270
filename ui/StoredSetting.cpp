#include "ui/StoredSetting.h"

#include "ui/Program.h"

namespace lanterna
{

void StoredSetting::componentComplete()
{
    m_value = read();
    connect(&Program::current(), &Program::settingChanged, this, [this](const QString &key) {
        if (key == m_key)
            refresh();
    });
    Q_EMIT valueChanged();
}

QVariant StoredSetting::read() const
{
    const SettingsStore &settings = Program::current().ports().settings;
    switch (settings.value(m_key).typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
        break;
    default: // absent, or nothing that could stand for one of these
        return m_fallback;
    }
    switch (m_fallback.typeId()) {
    case QMetaType::Bool:
        return settings.boolean(m_key);
    case QMetaType::QString:
        return settings.text(m_key);
    default:
        return settings.integer(m_key);
    }
}

void StoredSetting::refresh()
{
    QVariant now = read();
    if (now == m_value)
        return;
    m_value = std::move(now);
    Q_EMIT valueChanged();
}

void StoredSetting::edit(const QVariant &value)
{
    if (value == m_value)
        return;
    QVariant stored = value;
    if (m_fallback.typeId() == QMetaType::Int)
        stored = value.toLongLong(); // whole numbers come as reals from a script
    Program::current().ports().settings.setValue(m_key, stored);
    refresh();
    Q_EMIT edited();
}

} // namespace lanterna
