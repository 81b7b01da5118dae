#include "app/platform/selection/wayland/wayland_selection_backend.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QStandardPaths>

#include "app/platform/selection/wayland/data_control.h"

namespace talvo {

namespace {
// A selection read answers in a few milliseconds; an owner that hangs must
// not hang the lookup.
constexpr int kReadTimeoutMs = 500;
// How long a lookup waits for a change the watcher may still be reporting.
constexpr int kWatchGraceMs = 15;
}  // namespace

std::unique_ptr<WaylandSelectionBackend> WaylandSelectionBackend::create() {
    const QString wlPaste = QStandardPaths::findExecutable(QStringLiteral("wl-paste"));
    if (wlPaste.isEmpty() || !wayland::offersDataControl(wayland::compositorGlobals())) {
        return nullptr;
    }
    return std::unique_ptr<WaylandSelectionBackend>(new WaylandSelectionBackend(wlPaste));
}

WaylandSelectionBackend::WaylandSelectionBackend(QString wlPaste) : m_wlPaste(std::move(wlPaste)) {
    // One line per change of PRIMARY (and one at once for what it holds now).
    QObject::connect(&m_watch, &QProcess::readyReadStandardOutput, &m_watch,
                     [this] { countChanges(); });
    m_watch.start(m_wlPaste,
                  {QStringLiteral("--primary"), QStringLiteral("--watch"), QStringLiteral("echo")});
}

WaylandSelectionBackend::~WaylandSelectionBackend() {
    m_watch.disconnect();
    m_watch.kill();
    m_watch.waitForFinished(1000);
}

void WaylandSelectionBackend::countChanges() {
    m_changes += static_cast<uint64_t>(m_watch.readAllStandardOutput().count('\n'));
}

std::optional<std::string> WaylandSelectionBackend::primarySelection() {
    if (m_changes == m_changesSeen) {
        m_watch.waitForReadyRead(kWatchGraceMs);
        countChanges();
    }
    const bool changed = m_changes != m_changesSeen;
    m_changesSeen = m_changes;
    if (!changed) {
        return std::nullopt;
    }
    QProcess read;
    read.start(m_wlPaste, {QStringLiteral("--primary"), QStringLiteral("--no-newline"),
                           QStringLiteral("--type"), QStringLiteral("text")});
    if (!read.waitForFinished(kReadTimeoutMs)) {
        read.kill();
        read.waitForFinished(1000);
        return std::nullopt;
    }
    if (read.exitStatus() != QProcess::NormalExit || read.exitCode() != 0) {
        return std::nullopt;  // nothing selected, or no text in it
    }
    const QString text = QString::fromUtf8(read.readAllStandardOutput());
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text.toStdString();
}

std::optional<std::string> FocusedSelectionBackend::primarySelection() {
    const QString text = QGuiApplication::clipboard()->text(QClipboard::Selection);
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text.toStdString();
}

}  // namespace talvo
