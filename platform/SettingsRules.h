#pragma once

#include <QString>
#include <QVariant>

namespace lanterna
{

/// What is wrong with a value that a person wants to give a setting, although it is of the setting's kind: one line, which never repeats the value,
/// for it may hold a password. Empty when nothing is. Any thread.
///
/// No text may be a URL with a user or a password in it: settings are no place for secrets. Keys that choose among a few words take no others, and the
/// addresses of record servers are as `isRecordServerURL` wants them, the one for callbacks as `isCallbackAddress` does.
QString settingProblem(const QString &key, const QVariant &value);

} // namespace lanterna
