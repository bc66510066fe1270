#include "platform/linux/FixedLocationManager.h"

#include "tests/fakes/FakeWiFiClient.h"
#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

#include <vector>

using namespace lanterna;

namespace
{

using Status = LocationAuthorizationStatus;

class FixedLocation : public testing::Test
{
protected:
    void SetUp() override
    {
        manager.setDelegate([this](Status status) { told.push_back(status); });
    }
    void refuse(bool refused)
    {
        WiFiState state;
        state.permissionDenied = refused;
        wiFi.setState(state);
    }

    VirtualDispatch dispatch;
    FakeWiFiClient wiFi;
    FixedLocationManager manager{dispatch, wiFi};
    std::vector<Status> told;
};

TEST_F(FixedLocation, IsAlwaysAuthorised)
{
    EXPECT_EQ(manager.authorizationStatus(), Status::authorizedAlways);
    dispatch.runReady();
    EXPECT_TRUE(told.empty());
}

TEST_F(FixedLocation, RefusedWiFiQuestionIsDenied)
{
    refuse(true);
    EXPECT_EQ(manager.authorizationStatus(), Status::denied);
}

TEST_F(FixedLocation, ChangeBetweenTwoReadingsIsToldOnce)
{
    EXPECT_EQ(manager.authorizationStatus(), Status::authorizedAlways);
    refuse(true);
    EXPECT_EQ(manager.authorizationStatus(), Status::denied);
    EXPECT_EQ(manager.authorizationStatus(), Status::denied);
    EXPECT_TRUE(told.empty()); // not inside the call
    dispatch.runReady();
    EXPECT_EQ(told, std::vector{Status::denied});
    refuse(false);
    EXPECT_EQ(manager.authorizationStatus(), Status::authorizedAlways);
    dispatch.runReady();
    EXPECT_EQ(told, (std::vector{Status::denied, Status::authorizedAlways}));
}

TEST_F(FixedLocation, RequestIsAnsweredThroughTheDelegateOnce)
{
    EXPECT_EQ(manager.authorizationStatus(), Status::authorizedAlways);
    refuse(true);
    manager.requestAlwaysAuthorization();
    EXPECT_TRUE(told.empty());
    dispatch.runReady();
    EXPECT_EQ(told, std::vector{Status::denied});
}

TEST_F(FixedLocation, NothingIsToldOnceTheManagerIsGone)
{
    auto other = std::make_unique<FixedLocationManager>(dispatch, wiFi);
    other->setDelegate([this](Status status) { told.push_back(status); });
    other->requestAlwaysAuthorization();
    other.reset();
    dispatch.runReady();
    EXPECT_TRUE(told.empty());
}

TEST_F(FixedLocation, DelegateThatIsMissingIsSkipped)
{
    manager.setDelegate(nullptr);
    manager.requestAlwaysAuthorization();
    dispatch.runReady();
    EXPECT_TRUE(told.empty());
}

} // namespace
