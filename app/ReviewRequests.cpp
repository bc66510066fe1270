#include "app/ReviewRequests.h"

#include <limits>
#include <utility>

namespace lanterna
{

namespace
{

const QString actionCountKey = QStringLiteral("LTN_usefulActionCount");
const QString runtimeKey = QStringLiteral("LTN_totalRuntimeSeconds");
const QString versionKey = QStringLiteral("LTN_lastReviewRequestVersion");

constexpr qlonglong actionsBefore = 4;
constexpr qlonglong runtimeStep = 60;
constexpr qlonglong runtimeBefore = 3540;

qlonglong sum(qlonglong count, qlonglong step)
{
    return count > std::numeric_limits<qlonglong>::max() - step ? count : count + step;
}

} // namespace

ReviewRequests::ReviewRequests(Dispatch &dispatch, SettingsStore &settings, QString version, std::function<void()> requestReview)
    : m_dispatch(dispatch), m_settings(settings), m_version(std::move(version)), m_requestReview(std::move(requestReview))
{
}

void ReviewRequests::noteUsefulActionAndMaybeRequestReview()
{
    const qlonglong before = m_settings.integer(actionCountKey);
    m_settings.setValue(actionCountKey, sum(before, 1));
    if (before >= actionsBefore)
        requestAppStoreReviewIfNotAlreadyAsked();
}

bool ReviewRequests::accumulateRuntimeAndMaybeRequestReview()
{
    const qlonglong before = m_settings.integer(runtimeKey);
    m_settings.setValue(runtimeKey, sum(before, runtimeStep));
    if (before < runtimeBefore)
        return true;
    requestAppStoreReviewIfNotAlreadyAsked();
    return false;
}

void ReviewRequests::requestAppStoreReviewIfNotAlreadyAsked()
{
    if (!m_version.isNull() && m_settings.text(versionKey) == m_version)
        return;
    m_settings.setValue(versionKey, m_version);
    m_dispatch.mainAfter(requestDelay, [this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            m_requestReview();
    });
}

} // namespace lanterna
