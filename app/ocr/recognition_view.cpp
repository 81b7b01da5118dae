#include "app/ocr/recognition_view.h"

#include <QCoreApplication>
#include <QFrame>
#include <QHBoxLayout>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QStyle>
#include <QTextCharFormat>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "app/shell/localization.h"
#include "app/theme/theme.h"
#include "core/l10n/localization.h"

namespace talvo {

namespace {

constexpr int kMinContentWidth = 400;
constexpr int kMaxContentWidth = 640;
constexpr QSize kThumbnail(220, 56);

}  // namespace

std::vector<bool> carryMarks(const QString& before, const std::vector<bool>& marks,
                             const QString& after) {
    const QList<uint> a = before.toUcs4();
    const QList<uint> b = after.toUcs4();
    const size_t n = static_cast<size_t>(a.size());
    const size_t m = static_cast<size_t>(b.size());
    auto markAt = [&](size_t i) { return i < marks.size() && marks[i]; };
    size_t prefix = 0;
    while (prefix < n && prefix < m && a[prefix] == b[prefix]) {
        ++prefix;
    }
    size_t suffix = 0;
    while (suffix < n - prefix && suffix < m - prefix && a[n - 1 - suffix] == b[m - 1 - suffix]) {
        ++suffix;
    }
    std::vector<bool> out(m, false);
    for (size_t i = 0; i < prefix; ++i) {
        out[i] = markAt(i);
    }
    for (size_t k = 1; k <= suffix; ++k) {
        out[m - k] = markAt(n - k);
    }
    return out;
}

RecognitionView::RecognitionView(const QImage& region, Localization& l10n,
                                 std::function<void()> close, QWidget* parent)
    : PanelHost(parent), m_l10n(l10n), m_close(std::move(close)) {
    setObjectName(QStringLiteral("popupContent"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::popupStyleSheet());
    setFont(theme::bodyFont(13));
    m_outer = new QVBoxLayout(this);
    m_outer->setContentsMargins(0, 0, 0, 0);
    m_outer->setSpacing(0);

    m_header = new QWidget;
    auto* header = new QVBoxLayout(m_header);
    header->setContentsMargins(18, 14, 18, 8);
    header->setSpacing(6);
    auto* top = new QHBoxLayout;
    auto* heading =
        theme::plainLabel(l10n.text(msg::kScreenTextHeading), theme::bodyFont(11, true), "muted");
    heading->setObjectName(QStringLiteral("screenTextHeading"));
    top->addWidget(heading, 0, Qt::AlignTop);
    top->addStretch(1);
    // The region as it was read, to check the line against.
    if (!region.isNull()) {
        auto* picture = new QLabel;
        picture->setObjectName(QStringLiteral("region"));
        // The region is in device pixels: shown at the screen's density, sharp.
        const qreal density = devicePixelRatioF();
        QPixmap pixmap = QPixmap::fromImage(region);
        const QSize most = kThumbnail * density;
        if (pixmap.width() > most.width() || pixmap.height() > most.height()) {
            pixmap = pixmap.scaled(most, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        }
        pixmap.setDevicePixelRatio(density);
        picture->setPixmap(pixmap);
        picture->setStyleSheet(
            QStringLiteral("border: 1px solid %1; background: white;").arg(YDao::line().name()));
        top->addWidget(picture, 0, Qt::AlignTop);
    }
    auto* closeButton = new QToolButton;
    closeButton->setObjectName(QStringLiteral("close"));
    closeButton->setText(QStringLiteral("✕"));
    closeButton->setToolTip(l10n.text(msg::kClose));
    connect(closeButton, &QToolButton::clicked, this, [this] {
        if (m_close) {
            m_close();
        }
    });
    top->addWidget(closeButton, 0, Qt::AlignTop);
    header->addLayout(top);

    m_line = new QLineEdit;
    m_line->setObjectName(QStringLiteral("recognizedLine"));
    m_line->setFont(theme::hanFont(26));
    m_line->hide();
    header->addWidget(m_line);
    m_hint = theme::plainLabel(l10n.text(msg::kRecognizedHint), theme::bodyFont(11), "muted");
    m_hint->setObjectName(QStringLiteral("recognizedHint"));
    m_hint->hide();
    header->addWidget(m_hint);
    m_status = theme::plainLabel(QString(), theme::bodyFont(14));
    m_status->setObjectName(QStringLiteral("status"));
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_status->hide();
    header->addWidget(m_status);
    m_outer->addWidget(m_header);

    auto* rule = new QFrame;
    rule->setProperty("role", "rule");
    m_outer->addWidget(rule);
    m_outer->addStretch(1);

    m_settle = new QTimer(this);
    m_settle->setSingleShot(true);
    m_settle->setInterval(kSettleMs);
    connect(m_settle, &QTimer::timeout, this, &RecognitionView::submit);
    connect(m_line, &QLineEdit::textChanged, this, &RecognitionView::lineChanged);
    connect(m_line, &QLineEdit::textEdited, m_settle, qOverload<>(&QTimer::start));
    connect(m_line, &QLineEdit::returnPressed, this, &RecognitionView::submit);
}

void RecognitionView::showBusy() {
    setStatus(m_l10n.text(msg::kRecognizing), "muted");
    m_busy = true;
}

void RecognitionView::showRecognition(const ocr::Recognition& recognition) {
    m_busy = false;
    QString text = QString::fromStdString(recognition.text);
    text.remove(QLatin1Char('\n'));
    text.remove(QLatin1Char('\r'));
    // The marks go with the characters in order; the line breaks have none.
    std::vector<bool> marks;
    const QList<uint> points = text.toUcs4();
    size_t next = 0;
    for (uint point : points) {
        bool uncertain = false;
        if (next < recognition.chars.size() &&
            QString::fromStdString(recognition.chars[next].text).toUcs4().value(0) == point) {
            uncertain = recognition.chars[next].uncertain;
            ++next;
        }
        marks.push_back(uncertain);
    }
    m_line->setText(text);
    m_uncertain = std::move(marks);
    m_shownText = text;
    m_submitted = text;
    m_line->show();
    m_line->setCursorPosition(0);
    m_hint->setVisible(std::find(m_uncertain.begin(), m_uncertain.end(), true) !=
                       m_uncertain.end());
    showStatus(QString());
    paintMarks();
    m_line->setFocus(Qt::OtherFocusReason);
}

void RecognitionView::showStatus(const QString& text) {
    setStatus(text, "failed");
}

void RecognitionView::setStatus(const QString& text, const char* role) {
    m_busy = false;
    m_status->setText(text);
    m_status->setProperty("role", role);
    m_status->style()->unpolish(m_status);
    m_status->style()->polish(m_status);
    m_status->setVisible(!text.isEmpty());
}

QString RecognitionView::text() const {
    return m_line->text();
}

QString RecognitionView::statusText() const {
    return m_status->isHidden() ? QString() : m_status->text();
}

void RecognitionView::setBody(QWidget* body) {
    if (m_body) {
        // Later: this may run from inside the old body's own handlers.
        m_body->hide();
        m_outer->removeWidget(m_body);
        m_body->deleteLater();
    }
    m_body = body;
    // In place of the stretch, so the body takes the room below the line.
    if (QLayoutItem* stretch = m_outer->itemAt(m_outer->count() - 1);
        stretch && stretch->spacerItem()) {
        m_outer->removeItem(stretch);
        delete stretch;
    }
    if (body) {
        body->setParent(this);
        m_outer->addWidget(body, 1);
        body->show();
    } else {
        m_outer->addStretch(1);
    }
}

QSize RecognitionView::sizeWithBody(QSize body) const {
    const int natural = std::max(m_header->sizeHint().width(), body.width());
    const int width = std::clamp(natural, kMinContentWidth, kMaxContentWidth);
    QLayout* head = m_header->layout();
    const int headHeight =
        head->hasHeightForWidth() ? head->totalHeightForWidth(width) : head->sizeHint().height();
    // The rule between them, and a little room under a lone header.
    const int below = body.height() > 0 ? body.height() + 1 : 24;
    return {width, headHeight + below};
}

QSize RecognitionView::sizeHint() const {
    return sizeWithBody(m_body ? m_body->sizeHint() : QSize(0, 0));
}

void RecognitionView::lineChanged(const QString& text) {
    m_uncertain = carryMarks(m_shownText, m_uncertain, text);
    m_shownText = text;
    paintMarks();
}

void RecognitionView::submit() {
    m_settle->stop();
    const QString text = m_line->text();
    if (text == m_submitted) {
        return;
    }
    m_submitted = text;
    emit submitted(text);
}

// A line edit draws formats only as an input method's: the marks are
// handed to it that way, positions relative to the cursor, in UTF-16 units.
void RecognitionView::paintMarks() {
    QTextCharFormat mark;
    mark.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    mark.setUnderlineColor(YDao::seal());
    mark.setForeground(YDao::seal());
    QList<QInputMethodEvent::Attribute> attributes;
    const QString text = m_line->text();
    const int cursor = m_line->cursorPosition();
    int unit = 0;
    size_t point = 0;
    while (unit < text.size()) {
        const int length = text.at(unit).isHighSurrogate() && unit + 1 < text.size() ? 2 : 1;
        if (point < m_uncertain.size() && m_uncertain[point]) {
            attributes << QInputMethodEvent::Attribute(QInputMethodEvent::TextFormat, unit - cursor,
                                                       length, mark);
        }
        unit += length;
        ++point;
    }
    QInputMethodEvent event(QString(), attributes);
    QCoreApplication::sendEvent(m_line, &event);
}

}  // namespace talvo
