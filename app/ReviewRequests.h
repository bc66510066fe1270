#pragma once

#include "platform/Dispatch.h"
#include "platform/SettingsStore.h"

#include <functional>
#include <memory>

namespace lanterna
{

/// Decides when the person is asked for a review: once per version of the program, after the fifth useful action or an hour of running.
///
/// Main thread only; the referenced objects outlive it. The counters are the settings `LTN_usefulActionCount` and `LTN_totalRuntimeSeconds`; the
/// version that was asked for last is `LTN_lastReviewRequestVersion`.
class ReviewRequests
{
public:
    static constexpr std::chrono::milliseconds requestDelay{1500};

    /// The version is a null text where the program has none, and then every occasion asks.
    ReviewRequests(Dispatch &dispatch, SettingsStore &settings, QString version, std::function<void()> requestReview);

    /// An address was copied.
    void noteUsefulActionAndMaybeRequestReview();
    /// Another 60 seconds have passed. False when they need no longer be counted in this run.
    [[nodiscard]] bool accumulateRuntimeAndMaybeRequestReview();
    /// Asks in 1.5 s, unless this version was asked for before.
    void requestAppStoreReviewIfNotAlreadyAsked();

private:
    Dispatch &m_dispatch;
    SettingsStore &m_settings;
    QString m_version;
    std::function<void()> m_requestReview;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
