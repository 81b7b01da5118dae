#pragma once

#include "app/platform/clipboard_access.h"

namespace talvo {

// An in-memory clipboard: write() is "another program copied".
class FakeClipboard : public ClipboardAccess {
  public:
    ClipboardSnapshot snapshot() override { return contents; }
    void restore(const ClipboardSnapshot& s) override {
        ++restores;
        write(s);
    }
    uint64_t changeCount() override { return changes; }
    std::optional<QString> text() override {
        for (const auto& [format, bytes] : contents.formats) {
            if (format == QLatin1String("text/plain")) {
                return QString::fromUtf8(bytes);
            }
        }
        return std::nullopt;
    }
    void setText(const QString& t) override {
        write({{{QStringLiteral("text/plain"), t.toUtf8()}}});
    }

    void write(const ClipboardSnapshot& s) {
        contents = s;
        ++changes;
    }

    ClipboardSnapshot contents;
    uint64_t changes = 0;
    int restores = 0;
};

}  // namespace talvo
