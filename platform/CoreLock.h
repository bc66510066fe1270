#pragma once

#include <QString>

#include <optional>

namespace lanterna
{

/// Keeps a second core away from a settings folder: quitting removes keys that a core shares with nobody. The desktop program and `lanternactl run`
/// hold it for as long as they run; one-shot commands do not need it.
///
/// The lock is the kernel's (flock on "core.lock" in the folder), so it ends with its process, however that ends; the file stays. One thread.
class CoreLock
{
public:
    /// What came of asking for the lock.
    struct Result {
        enum class Status {
            held, ///< by this object, now or already before the call
            heldElsewhere, ///< by another core
            failed ///< the system refused (a folder that cannot be written to); `error` says why
        };
        Status status = Status::failed;
        qint64 holderPid = 0; ///< process that holds the lock, as it is known there; 0 when unknown
        QString error;
    };

    explicit CoreLock(const QString &folder) : m_folder(folder) { }
    ~CoreLock() { release(); }
    CoreLock(const CoreLock &) = delete;
    CoreLock &operator=(const CoreLock &) = delete;

    /// Takes the lock unless another has it; never waits for the holder to go. Makes the folder (0700) when it is missing.
    [[nodiscard]] Result tryLock();
    /// The process that holds the folder's lock; 0 when none does, or when it cannot be told. Takes nothing and makes nothing.
    [[nodiscard]] static qint64 holder(const QString &folder);
    /// Lets the lock go; without it nothing happens.
    void release();

private:
    QString m_folder;
    int m_descriptor = -1;
};

} // namespace lanterna
