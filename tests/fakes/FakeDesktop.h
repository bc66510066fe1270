#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/StatusItem.h"

#include <QStringList>

#include <utility>

namespace lanterna
{

/// A panel of which the test is the person: it looks at title and rows, and clicks.
class FakeStatusItem : public StatusItem
{
public:
    void start(Events given) override
    {
        events = std::move(given);
        ++starts;
        events.appearanceChanged(appearance);
    }
    void setContent(const StatusItemContent &shown) override
    {
        content = shown;
        titles.append(shown.title);
    }
    void setMenu(const Menu &shown) override { menu = shown; }
    [[nodiscard]] std::optional<double> centreX() const override { return centre; }

    [[nodiscard]] QStringList rowTitles() const
    {
        QStringList rows;
        for (const MenuItem &row : menu.items())
            rows.append(row.separator ? QStringLiteral("-") : row.title);
        return rows;
    }
    /// The row with this title, in the menu or one of its submenus.
    [[nodiscard]] MenuItem row(const QString &title) const
    {
        for (const MenuItem &row : menu.items()) {
            if (row.title == title)
                return row;
            for (const MenuItem &child : row.children) {
                if (child.title == title)
                    return child;
            }
        }
        return {};
    }
    /// Clicks the row with this title; false when it cannot be chosen.
    bool click(const QString &title)
    {
        const MenuItem chosen = row(title);
        if (!chosen.selectable() || !chosen.action)
            return false;
        chosen.action(chosen);
        return true;
    }

    std::optional<double> centre;
    StatusItemContent content;
    QStringList titles; ///< every title that was shown, in order
    Menu menu;
    Events events;
    QString appearance = QStringLiteral("dark");
    int starts = 0;
};

/// A person who answers each alert with the same button, or leaves it open.
class FakeAlerts : public Alerts
{
public:
    explicit FakeAlerts(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void runModal(const Alert &alert, std::function<void(int)> completion) override
    {
        shown.append(alert);
        if (answer >= 0)
            m_dispatch.mainAsync(
                [completion = std::move(completion), button = qMin<int>(answer, int(alert.buttons.size()) - 1)] { completion(button); });
    }

    QList<Alert> shown;
    int answer = -1; ///< index of the button, the last one where there are fewer; -1 answers never

private:
    Dispatch &m_dispatch;
};

/// A pasteboard that remembers everything that was put on it.
class FakePasteboard : public Pasteboard
{
public:
    explicit FakePasteboard(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void setText(const QString &text, std::function<void(bool)> completion) override
    {
        texts.append(text);
        m_dispatch.mainAsync([completion = std::move(completion), copied = works] { completion(copied); });
    }

    QStringList texts;
    bool works = true;

private:
    Dispatch &m_dispatch;
};

/// A desktop with the modifier keys that a test holds.
class FakeWorkspace : public Workspace
{
public:
    bool openURL(const QString &url) override
    {
        opened.append(url);
        return opens;
    }
    [[nodiscard]] quint64 modifierFlags() const override { return modifiers; }
    void terminate() override { ++terminations; }

    QStringList opened; ///< or asked for in vain
    bool opens = true;
    quint64 modifiers = 0;
    int terminations = 0;
};

} // namespace lanterna
