#include "app/study/study_window_controller.h"

#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QWindow>

#include "app/shell/localization.h"
#include "app/study/study_keys.h"
#include "app/study/study_view.h"
#include "core/study/study_session.h"

namespace talvo {

StudyWindowController::StudyWindowController(StudyStore& store, QObject* parent)
    : QObject(parent), m_store(store) {}

StudyWindowController::~StudyWindowController() {
    stopKeys();
    if (m_view) {
        m_view->onVisibilityChanged = nullptr;
    }
}

QWidget* StudyWindowController::window() const {
    return m_view.get();
}

void StudyWindowController::ensureWindow() {
    if (m_view) {
        return;
    }
    m_session = std::make_unique<StudySession>(m_store);
    m_session->onProgress = [this] {
        if (onProgress) {
            onProgress();
        }
    };
    m_view = std::make_unique<StudyView>(*m_session);
    m_view->strokeOrderView = [this](const std::string& ch, QWidget* parent) -> QWidget* {
        return strokeOrderView ? strokeOrderView(ch, parent) : nullptr;
    };
    m_view->onVisibilityChanged = [this](bool visible) {
        if (visible) {
            startKeys();
        } else {
            stopKeys();
            if (onHidden) {
                onHidden();
            }
        }
    };
    applyLanguage();
    if (QScreen* s = QGuiApplication::primaryScreen()) {
        m_view->move(s->availableGeometry().center() - m_view->rect().center());
    }
}

void StudyWindowController::show() {
    ensureWindow();
    m_session->reload();
    m_view->refresh();
    m_view->show();
    m_view->raise();
    m_view->activateWindow();
    startKeys();
    if (onShown) {
        onShown();
    }
}

void StudyWindowController::reload() {
    if (!m_session) {
        return;
    }
    m_session->reload();
    m_view->refresh();
}

void StudyWindowController::refreshAfterSync() {
    if (!m_session) {
        return;
    }
    m_session->refresh();
    m_view->refresh();
}

void StudyWindowController::setLocalization(Localization* l10n) {
    if (m_l10n) {
        disconnect(m_l10n, nullptr, this, nullptr);
    }
    m_l10n = l10n;
    if (m_l10n) {
        connect(m_l10n, &Localization::languageChanged, this,
                &StudyWindowController::applyLanguage);
    }
    applyLanguage();
}

void StudyWindowController::applyLanguage() {
    if (m_view) {
        m_view->setLanguage(m_l10n ? m_l10n->lang() : AppLanguage::vi);
    }
}

void StudyWindowController::startKeys() {
    if (!m_takingKeys && qApp) {
        qApp->installEventFilter(this);
        m_takingKeys = true;
    }
}

void StudyWindowController::stopKeys() {
    if (m_takingKeys && qApp) {
        qApp->removeEventFilter(this);
    }
    m_takingKeys = false;
}

bool StudyWindowController::aimedAtWindow(QObject* receiver) const {
    if (auto* w = qobject_cast<QWidget*>(receiver)) {
        return w->window() == m_view.get();
    }
    // Qt hands a key press to the native window first, then to the focus
    // widget; taking it at the first stop keeps it from every widget.
    auto* window = qobject_cast<QWindow*>(receiver);
    return window && window == m_view->windowHandle();
}

bool StudyWindowController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress || !m_view || !m_session || !m_view->isActiveWindow() ||
        !aimedAtWindow(watched)) {
        return false;
    }
    // A key the table does not consume changes nothing, so seeing it again
    // as it propagates to the parent widgets is harmless.
    auto* key = static_cast<QKeyEvent*>(event);
    if (!m_session->handle(studyKeyFromEvent(*key), studyModifiersFromQt(key->modifiers()))) {
        return false;
    }
    m_view->refresh();
    return true;
}

}  // namespace talvo
