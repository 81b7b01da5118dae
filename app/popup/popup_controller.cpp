#include "app/popup/popup_controller.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "app/platform/clipboard_access.h"
#include "app/platform/placement/window_placer.h"
#include "app/platform/selection/selection_backend.h"
#include "app/popup/reverse_popup_view.h"
#include "app/shell/localization.h"
#include "core/ui/popup_geometry.h"
#include "core/ui/region_geometry.h"

namespace talvo {

Q_LOGGING_CATEGORY(popupLog, "talvo.popup", QtWarningMsg)

namespace {
// How long a compositor takes to map a new window, with room to spare.
constexpr int kWaylandMapDelayMs = 400;
}  // namespace

namespace {

popup::Rect toRect(const QRect& r) {
    return {double(r.x()), double(r.y()), double(r.width()), double(r.height())};
}

QString panelTitle(const std::string& a, const std::string& b) {
    QString t = QStringLiteral("Talvo — ") + QString::fromStdString(a);
    if (!b.empty()) {
        t += QStringLiteral(" — ") + QString::fromStdString(b);
    }
    return t.left(240);
}

}  // namespace

PopupController::PopupController(Localization& l10n, ClipboardAccess& clipboard,
                                 SelectionBackend* focus, WindowPlacer* placer, QObject* parent)
    : QObject(parent), m_l10n(l10n), m_clipboard(clipboard), m_focus(focus), m_placer(placer) {
    mouseLocation = [] { return QCursor::pos(); };
}

PopupController::~PopupController() {
    delete m_panel.data();
}

void PopupController::show(const PhraseLookup& result, PopupCallbacks callbacks) {
    PopupActions actions;
    actions.saveReading = std::move(callbacks.onSaveReading);
    actions.translate = std::move(callbacks.onAITranslate);
    actions.addToStudy = std::move(callbacks.onAddToStudy);
    actions.inStudy = callbacks.inStudy;
    actions.copy = [this](const QString& text) { m_clipboard.setText(text); };
    if (!hosting()) {
        actions.close = [this] { close(true); };
    }
    actions.strokeOrder = strokeOrderView;
    auto* view = new PopupView(result, std::move(actions), m_l10n);
    // Measured on the view itself, switched into each state and back: far
    // cheaper than building a copy per state, and the panel never grows when
    // a translation arrives or the editor opens.
    std::vector<std::function<QSize()>> measures;
    for (auto variant :
         {PopupView::Variant::Plain, PopupView::Variant::Translated, PopupView::Variant::Editing}) {
        measures.push_back([view, variant] { return view->sizeHintFor(variant); });
    }
    present(view, measures, panelTitle(result.phrase, result.amString()));
}

void PopupController::showReverse(const ReverseLookup& result) {
    auto copy = [this](const QString& text) { m_clipboard.setText(text); };
    std::function<void()> closeIt;
    if (!hosting()) {
        closeIt = [this] { close(true); };
    }
    auto* view = new ReversePopupView(result, copy, closeIt, m_l10n);
    std::vector<std::function<QSize()>> measures{[view] { return view->sizeHint(); }};
    present(view, measures, panelTitle(result.query, {}));
}

void PopupController::presentHost(PanelHost* host, const QString& title) {
    m_host = nullptr;
    m_hostBody = QSize(0, 0);
    host->ensurePolished();
    present(host, {[host] { return host->sizeWithBody(QSize(0, 0)); }}, title);
    m_host = host;
}

void PopupController::refitHost(const QString& title) {
    if (!hosting()) {
        return;
    }
    KeyablePanel* panel = m_panel;
    const QSize size = clampedSize(m_host->sizeWithBody(m_hostBody)).expandedTo(panel->size());
    panel->setWindowTitle(title);
    if (size == panel->size()) {
        return;
    }
    panel->setMinimumSize(0, 0);
    panel->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    panel->resize(size);
    // Grown past the screen's edge: back inside it, as placing it would.
    if (QGuiApplication::platformName() != QLatin1String("wayland")) {
        if (QScreen* screen = QGuiApplication::screenAt(panel->geometry().center())) {
            const QRect v = screen->availableGeometry().adjusted(8, 8, -8, -8);
            QPoint p = panel->pos();
            p.setX(std::max(std::min(p.x(), v.right() - size.width()), v.left()));
            p.setY(std::max(std::min(p.y(), v.bottom() - size.height()), v.top()));
            panel->move(p);
        }
    }
}

void PopupController::present(QWidget* display, const std::vector<std::function<QSize()>>& measures,
                              const QString& title) {
    if (hosting()) {
        // Measured alone, then put below the host, which adds its own part.
        display->ensurePolished();
        QSize body(0, 0);
        for (const auto& measure : measures) {
            body = body.expandedTo(measure());
        }
        m_host->setBody(display);
        m_hostBody = body;
        refitHost(title);
        qCDebug(popupLog) << "filled the host" << title;
        emit shown();
        return;
    }
    const bool reuse = std::exchange(m_reuseNext, false) && m_panel;
    if (!reuse) {
        close(false);
    }

    display->ensurePolished();
    QSize wanted(0, 0);
    for (const auto& measure : measures) {
        wanted = wanted.expandedTo(measure());
    }
    QSize size = clampedSize(wanted);

    KeyablePanel* panel = reuse ? m_panel.data() : new KeyablePanel;
    panel->setWindowTitle(title);
    panel->setContent(display);
    panel->resize(size);
    if (!reuse) {
        QPointer<KeyablePanel> guard(panel);
        panel->onEsc = [this, guard] {
            if (guard == m_panel) {
                close(true);
            }
        };
        panel->onResignKey = [this, guard] {
            if (guard == m_panel) {
                close(false);
            }
        };
        m_panel = panel;
    }
    const bool wayland = QGuiApplication::platformName() == QLatin1String("wayland");
    const std::optional<QRect> beside = std::exchange(m_beside, std::nullopt);
    QScreen* besideScreen = beside ? QGuiApplication::screenAt(beside->center()) : nullptr;
    if (wayland) {
        // A Wayland client learns the pointer's position only over its own
        // windows: the panel goes to the upper third of the focused screen
        // where the compositor lets us place it, and is centred by the
        // compositor elsewhere. A size fixed at the first showing makes a
        // tiling compositor float it like a dialog; the user may resize it
        // after that.
        panel->setFixedSize(size);
    } else if (besideScreen) {
        region::Point p =
            region::panelBeside(toRect(*beside), {double(size.width()), double(size.height())},
                                toRect(besideScreen->availableGeometry()));
        panel->move(static_cast<int>(p.x), static_cast<int>(p.y));
    } else {
        positionAtMouse(panel, size);
    }
    panel->show();
    if (wayland) {
        if (m_placer) {
            m_placer->place(panel, upperThirdOfFocusedScreen(size));
        }
        // Once the compositor has mapped it (and chosen to float it).
        QTimer::singleShot(kWaylandMapDelayMs, panel, [panel] {
            panel->setMinimumSize(0, 0);
            panel->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        });
    }
    panel->raise();
    panel->activateWindow();
    // The card itself holds focus, so a stray Space or Return presses no button.
    panel->setFocus(Qt::ActiveWindowFocusReason);
    qCDebug(popupLog) << (reuse ? "filled" : "shown") << title;
    emit shown();
}

void PopupController::close(bool giveFocusBack) {
    if (!m_panel) {
        return;
    }
    qCDebug(popupLog) << "closing" << m_panel->windowTitle();
    KeyablePanel* panel = m_panel;
    m_panel = nullptr;
    m_host = nullptr;
    panel->onEsc = nullptr;
    panel->onResignKey = nullptr;
    panel->hide();
    // Later: close may run from inside one of the panel's own handlers.
    panel->deleteLater();
    if (giveFocusBack && m_focus && m_returnFocus) {
        m_focus->restoreFocus(m_returnFocus);
    }
}

QSize PopupController::clampedSize(QSize wanted) {
    std::optional<double> visibleHeight;
    if (QScreen* main = QGuiApplication::primaryScreen()) {
        visibleHeight = main->availableGeometry().height();
    }
    popup::Size s =
        popup::clampedSize({double(wanted.width()), double(wanted.height())}, visibleHeight);
    return {static_cast<int>(s.width), static_cast<int>(s.height)};
}

QPoint PopupController::upperThirdOfFocusedScreen(QSize size) {
    std::optional<QRect> screen = m_placer ? m_placer->focusedScreen() : std::nullopt;
    if (!screen) {
        QScreen* main = QGuiApplication::primaryScreen();
        if (!main) {
            return {};
        }
        screen = main->availableGeometry();
    }
    // The compositor gives the whole screen; its bars lie at edges that a
    // panel in the upper third rarely reaches.
    popup::Point p = popup::positionInUpperThird({double(size.width()), double(size.height())},
                                                 {toRect(*screen), toRect(*screen)});
    return {static_cast<int>(p.x), static_cast<int>(p.y)};
}

void PopupController::positionAtMouse(QWidget* panel, QSize size) {
    std::vector<popup::Screen> screens;
    std::optional<size_t> main;
    const QList<QScreen*> all = QGuiApplication::screens();
    for (qsizetype i = 0; i < all.size(); ++i) {
        screens.push_back({toRect(all[i]->geometry()), toRect(all[i]->availableGeometry())});
        if (all[i] == QGuiApplication::primaryScreen()) {
            main = static_cast<size_t>(i);
        }
    }
    QPoint mouse = mouseLocation();
    popup::Point p =
        popup::positionAtMouse({double(mouse.x()), double(mouse.y())},
                               {double(size.width()), double(size.height())}, screens, main);
    panel->move(static_cast<int>(p.x), static_cast<int>(p.y));
}

}  // namespace talvo
