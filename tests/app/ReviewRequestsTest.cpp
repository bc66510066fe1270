#include "app/ReviewRequests.h"

#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Reviews : public testing::Test
{
protected:
    std::unique_ptr<ReviewRequests> make(const QString &version)
    {
        return std::make_unique<ReviewRequests>(dispatch, settings, version, [this] { ++asked; });
    }
    int asked = 0;
    QTemporaryDir folder;
    VirtualDispatch dispatch;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    std::unique_ptr<ReviewRequests> reviews = make("1.2");
};

} // namespace

TEST_F(Reviews, FifthCopyAsksAndTheSixthDoesNothingMore)
{
    for (int i = 0; i < 4; ++i)
        reviews->noteUsefulActionAndMaybeRequestReview();
    dispatch.advance(1h);
    EXPECT_EQ(asked, 0);
    EXPECT_FALSE(settings.contains("LTN_lastReviewRequestVersion"));
    reviews->noteUsefulActionAndMaybeRequestReview();
    EXPECT_EQ(settings.text("LTN_lastReviewRequestVersion"), "1.2");
    dispatch.advance(1499ms);
    EXPECT_EQ(asked, 0);
    dispatch.advance(1ms);
    EXPECT_EQ(asked, 1);
    reviews->noteUsefulActionAndMaybeRequestReview();
    dispatch.advance(1h);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(settings.integer("LTN_usefulActionCount"), 6);
}

TEST_F(Reviews, AfterAChangeOfVersionTheNextActionAsksAgain)
{
    settings.setValue("LTN_usefulActionCount", 7);
    settings.setValue("LTN_lastReviewRequestVersion", "1.1");
    reviews->noteUsefulActionAndMaybeRequestReview();
    dispatch.advance(2s);
    EXPECT_EQ(asked, 1);
}

TEST_F(Reviews, AnHourOfRunningAsksOnceAndEndsTheCount)
{
    for (int minute = 1; minute < 60; ++minute)
        EXPECT_TRUE(reviews->accumulateRuntimeAndMaybeRequestReview()) << minute;
    EXPECT_FALSE(reviews->accumulateRuntimeAndMaybeRequestReview());
    dispatch.advance(2s);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(settings.integer("LTN_totalRuntimeSeconds"), 3600);
    EXPECT_FALSE(reviews->accumulateRuntimeAndMaybeRequestReview()) << "a later launch";
    dispatch.advance(2s);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(settings.integer("LTN_totalRuntimeSeconds"), 3660);
}

TEST_F(Reviews, ProgramWithoutAVersionAsksEachTime)
{
    reviews = make(QString());
    settings.setValue("LTN_usefulActionCount", 4);
    settings.setValue("LTN_lastReviewRequestVersion", "1.1");
    reviews->noteUsefulActionAndMaybeRequestReview();
    EXPECT_FALSE(settings.contains("LTN_lastReviewRequestVersion"));
    reviews->noteUsefulActionAndMaybeRequestReview();
    dispatch.advance(2s);
    EXPECT_EQ(asked, 2);
}

TEST_F(Reviews, CountersOfWrongTypeOrTooLargeAreNoTrouble)
{
    settings.setValue("LTN_usefulActionCount", QStringList{"five"});
    reviews->noteUsefulActionAndMaybeRequestReview();
    EXPECT_EQ(settings.integer("LTN_usefulActionCount"), 1);
    constexpr qlonglong most = std::numeric_limits<qlonglong>::max();
    settings.setValue("LTN_totalRuntimeSeconds", most);
    EXPECT_FALSE(reviews->accumulateRuntimeAndMaybeRequestReview());
    EXPECT_EQ(settings.integer("LTN_totalRuntimeSeconds"), most);
}

TEST_F(Reviews, NothingIsAskedOnceItIsGone)
{
    settings.setValue("LTN_usefulActionCount", 4);
    reviews->noteUsefulActionAndMaybeRequestReview();
    reviews.reset();
    dispatch.advance(2s);
    EXPECT_EQ(asked, 0);
}
