#include "platform/linux/desktop/WindowAlerts.h"

#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class AlertsWithoutWindows : public testing::Test
{
protected:
    void ask(int cancelButton)
    {
        alerts.runModal({"Sure?", "", {"Yes", "No"}, 0, cancelButton, -1}, [this](int button) { answers.append(button); });
    }
    VirtualDispatch dispatch;
    WindowAlerts alerts{dispatch, [] { return nullptr; }};
    QList<int> answers;
};

TEST_F(AlertsWithoutWindows, AnswerIsCancelAndNeverInsideTheCall)
{
    ask(1);
    EXPECT_TRUE(answers.isEmpty());
    dispatch.runReady();
    EXPECT_EQ(answers, QList<int>{1});
}

TEST_F(AlertsWithoutWindows, QuestionAskedInAnAnswerIsAnsweredToo)
{
    alerts.runModal({"One", "", {"OK"}, 0, 0, -1}, [this](int) { ask(1); });
    dispatch.runReady();
    EXPECT_EQ(answers, QList<int>{1});
}

} // namespace
