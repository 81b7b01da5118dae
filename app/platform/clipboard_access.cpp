#include "app/platform/clipboard_access.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace talvo {

QtClipboardAccess::QtClipboardAccess(QObject* parent) : QObject(parent) {
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { ++m_changes; });
}

ClipboardSnapshot QtClipboardAccess::snapshot() {
    ClipboardSnapshot s;
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data) {
        return s;
    }
    for (const QString& format : data->formats()) {
        if (!format.contains(QLatin1Char('/'))) {
            continue;
        }
        QByteArray bytes = data->data(format);
        // A format listed but not delivered cannot be put back.
        if (!bytes.isNull()) {
            s.formats.emplace_back(format, bytes);
        }
    }
    return s;
}

void QtClipboardAccess::restore(const ClipboardSnapshot& s) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (s.formats.empty()) {
        clipboard->clear(QClipboard::Clipboard);
        return;
    }
    auto* data = new QMimeData;
    for (const auto& [format, bytes] : s.formats) {
        data->setData(format, bytes);
    }
    clipboard->setMimeData(data, QClipboard::Clipboard);
}

std::optional<QString> QtClipboardAccess::text() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data || !data->hasText()) {
        return std::nullopt;
    }
    return data->text();
}

void QtClipboardAccess::setText(const QString& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear(QClipboard::Clipboard);
    clipboard->setText(text, QClipboard::Clipboard);
}

}  // namespace talvo
