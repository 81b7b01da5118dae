#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace talvo {

// The clipboard's contents as data per MIME type, in the owner's order. The
// toolkit sees one item per clipboard; an empty list is an empty clipboard.
struct ClipboardSnapshot {
    std::vector<std::pair<QString, QByteArray>> formats;
    bool operator==(const ClipboardSnapshot&) const = default;
};

// The system clipboard (CLIPBOARD on X11). Main thread only.
class ClipboardAccess {
  public:
    virtual ~ClipboardAccess() = default;

    // Every format whose data can be read now. X11 protocol targets (TARGETS,
    // MULTIPLE, TIMESTAMP, SAVE_TARGETS and other names without a '/') are
    // left out: they describe the transfer, not the contents, and putting
    // them back would duplicate entries.
    virtual ClipboardSnapshot snapshot() = 0;
    // Replaces the contents with the snapshot; an empty snapshot clears it.
    virtual void restore(const ClipboardSnapshot& snapshot) = 0;
    // Grows whenever any program writes to the clipboard.
    virtual uint64_t changeCount() = 0;
    // The plain text of the current contents; absent when there is none.
    virtual std::optional<QString> text() = 0;
    // A copy action of ours: clears, then puts the text.
    virtual void setText(const QString& text) = 0;
};

// ClipboardAccess over QClipboard; the change count follows its dataChanged
// signal (X11 reports foreign owners through XFixes).
class QtClipboardAccess : public QObject, public ClipboardAccess {
    Q_OBJECT
  public:
    explicit QtClipboardAccess(QObject* parent = nullptr);

    ClipboardSnapshot snapshot() override;
    void restore(const ClipboardSnapshot& snapshot) override;
    uint64_t changeCount() override { return m_changes; }
    std::optional<QString> text() override;
    void setText(const QString& text) override;

  private:
    uint64_t m_changes = 0;
};

}  // namespace talvo
