#pragma once

#include "platform/Dispatch.h"
#include "ui/PreferencesWindowController.h"

#include <QObject>
#include <QQuickWindow>
#include <QRegion>

#include <memory>

namespace lanterna
{

/// The part of a window of this size that is left when its corners are rounded off.
[[nodiscard]] QRegion roundedRegion(const QSize &size, int radius);

/// Shows the welcome card and closes it: when the person has answered it, or 60 s after it was shown. Main thread only.
///
/// The buttons alone write `hasShownWelcomePopover`; whether the card is due is asked before the windows' library is loaded.
class WelcomePopoverPresenter : public QObject
{
    Q_OBJECT
public:
    /// `prefs` outlives the presenter.
    explicit WelcomePopoverPresenter(PrefsWindowBridge &prefs);
    ~WelcomePopoverPresenter() override;

    /// Shows a new card in the middle of what panels leave of the main monitor; one that stood before is gone. False when it cannot be made.
    bool showWelcomePopover();
    /// Takes the card away, if there is one.
    Q_SLOT void dismissWelcomePopover();
    /// The window showing the card; null when there is none.
    [[nodiscard]] QQuickWindow *popoverWindow() const { return m_popoverWindow.get(); }

private:
    Q_SLOT void showPreferences();
    void place();

    PrefsWindowBridge &m_prefs;
    std::unique_ptr<QQuickWindow> m_popoverWindow;
    TimerHandle m_timeOut; // of this window: a card that is gone takes its own along
};

} // namespace lanterna
