#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

#include "app/platform/placement/window_placer.h"

namespace talvo {

// Placement through the IPC socket of sway (and i3-compatible compositors):
// "move absolute position" on the window once the compositor has mapped it,
// matched by our process id and its exact title.
class SwayWindowPlacer : public WindowPlacer {
  public:
    // Null outside such a session (no SWAYSOCK, or nothing answers on it).
    static std::unique_ptr<SwayWindowPlacer> create();

    std::optional<QRect> focusedScreen() override;
    void place(QWidget* window, QPoint topLeft) override;

    // One request and its answer's payload; absent when the socket fails or
    // the answer does not come within a short wait.
    std::optional<QByteArray> request(uint32_t type, const QByteArray& payload);

    // A criteria value that matches exactly `title`: a regular expression,
    // with the double quote (which would end the value) matched as any
    // character.
    static QString exactTitlePattern(const QString& title);

  private:
    explicit SwayWindowPlacer(QString socketPath) : m_socketPath(std::move(socketPath)) {}
    void tryPlace(QWidget* window, const QString& command, int attemptsLeft);

    QString m_socketPath;
};

}  // namespace talvo
