#include "app/popup/reverse_popup_view.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "app/popup/fitting_scroll_area.h"
#include "app/shell/localization.h"
#include "app/theme/theme.h"
#include "core/l10n/localization.h"
#include "core/ui/lookup_text.h"

namespace talvo {

namespace {}  // namespace

ReversePopupView::ReversePopupView(const ReverseLookup& result,
                                   std::function<void(const QString&)> copy,
                                   std::function<void()> close, Localization& l10n, QWidget* parent)
    : QWidget(parent), m_copy(std::move(copy)), m_close(std::move(close)), m_l10n(l10n) {
    setObjectName(QStringLiteral("popupContent"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::popupStyleSheet());
    setFont(theme::bodyFont(13));
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(18, 14, 18, 14);
    outer->setSpacing(8);

    auto* head = new QHBoxLayout;
    auto* query = theme::plainLabel(QString::fromStdString(result.query), theme::bodyFont(20, true),
                                    "reading");
    query->setObjectName(QStringLiteral("query"));
    head->addWidget(query, 1);
    // Hosted below the text read off the screen, the host's close serves.
    if (m_close) {
        auto* closeButton = new QToolButton;
        closeButton->setObjectName(QStringLiteral("close"));
        closeButton->setText(QStringLiteral("✕"));
        closeButton->setToolTip(l10n.text(msg::kClose));
        connect(closeButton, &QToolButton::clicked, this, [this] { m_close(); });
        head->addWidget(closeButton, 0, Qt::AlignTop);
    }
    outer->addLayout(head);

    if (result.hasNoMatch()) {
        auto* none = theme::plainLabel(
            l10n.format(msg::kNoReverseMatch, QString::fromStdString(result.query)),
            theme::bodyFont(15));
        none->setObjectName(QStringLiteral("noMatch"));
        outer->addWidget(none);
        outer->addStretch(1);
        return;
    }

    auto* body = new QWidget;
    body->setObjectName(QStringLiteral("popupBody"));
    body->setAttribute(Qt::WA_StyledBackground);
    auto* bodyLayout = new QVBoxLayout(body);
    bodyLayout->setContentsMargins(0, 0, 6, 0);
    bodyLayout->setSpacing(4);
    if (!result.words.empty()) {
        addWords(bodyLayout, result.words);
    }
    for (const ReverseSyllable& s : result.syllables) {
        addSyllable(bodyLayout, s);
    }
    bodyLayout->addStretch(1);
    auto* scroll = new FittingScrollArea;
    scroll->setWidget(body);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    outer->addWidget(scroll, 1);

    m_status = theme::plainLabel(QString(), theme::bodyFont(11), "ok");
    m_status->setObjectName(QStringLiteral("status"));
    m_status->hide();
    outer->addWidget(m_status);
}

void ReversePopupView::addSyllable(QVBoxLayout* body, const ReverseSyllable& s) {
    auto* heading =
        theme::plainLabel(QString::fromStdString(s.am), theme::bodyFont(15, true), "reading");
    heading->setObjectName(QStringLiteral("syllable"));
    body->addSpacing(4);
    body->addWidget(heading);
    auto* rule = new QFrame;
    rule->setProperty("role", "rule");
    body->addWidget(rule);
    if (s.candidates.empty()) {
        body->addWidget(theme::plainLabel(QStringLiteral("—"), theme::bodyFont(13), "muted"));
        return;
    }
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(2);
    grid->setColumnStretch(1, 1);
    int shown = std::min(static_cast<int>(s.candidates.size()), kMaxCandidates);
    for (int i = 0; i < shown; ++i) {
        const CharReading& c = s.candidates[static_cast<size_t>(i)];
        addRow(grid, i, QString::fromStdString(c.ch), 30,
               QString::fromStdString(joinReadings(c.readings)),
               QString::fromStdString(c.gloss.value_or("")));
    }
    body->addLayout(grid);
    if (static_cast<int>(s.candidates.size()) > shown) {
        body->addWidget(theme::plainLabel(
            m_l10n.format(msg::kMoreCandidates,
                          QString::number(static_cast<int>(s.candidates.size()) - shown)),
            theme::bodyFont(12), "muted"));
    }
}

void ReversePopupView::addWords(QVBoxLayout* body, const std::vector<WordReading>& words) {
    auto* heading =
        theme::plainLabel(m_l10n.text(msg::kWordsHeading), theme::bodyFont(15, true), "reading");
    heading->setObjectName(QStringLiteral("words"));
    body->addWidget(heading);
    auto* rule = new QFrame;
    rule->setProperty("role", "rule");
    body->addWidget(rule);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(2);
    grid->setColumnStretch(1, 1);
    int row = 0;
    for (const WordReading& w : words) {
        QString gloss = w.gloss     ? QString::fromStdString(*w.gloss)
                        : w.english ? QStringLiteral("EN · ") + QString::fromStdString(*w.english)
                                    : QString();
        addRow(grid, row++, QString::fromStdString(w.text), 22, QString::fromStdString(w.reading),
               gloss)
            ->setObjectName(QStringLiteral("word"));
    }
    body->addLayout(grid);
}

QPushButton* ReversePopupView::addRow(QGridLayout* grid, int row, const QString& han, int fontSize,
                                      const QString& readings, const QString& gloss) {
    auto* glyph = new QPushButton(han);
    glyph->setObjectName(QStringLiteral("candidate"));
    glyph->setProperty("role", "glyph");
    glyph->setFont(theme::hanFont(fontSize));
    glyph->setMinimumWidth(46);
    glyph->setCursor(Qt::PointingHandCursor);
    glyph->setToolTip(m_l10n.text(msg::kClickToCopy));
    connect(glyph, &QPushButton::clicked, this, [this, han] {
        if (m_copy) {
            m_copy(han);
        }
        if (m_status) {
            m_status->setText(QStringLiteral("✓ ") + m_l10n.text(msg::kCopied) +
                              QStringLiteral(" ") + han);
            m_status->show();
        }
    });
    grid->addWidget(glyph, row, 0, Qt::AlignTop);
    auto* text = new QVBoxLayout;
    text->setSpacing(0);
    text->addWidget(theme::plainLabel(readings, theme::bodyFont(13), "muted"));
    if (!gloss.isEmpty()) {
        text->addWidget(theme::plainLabel(gloss, theme::bodyFont(13)));
    }
    grid->addLayout(text, row, 1);
    return glyph;
}

QSize ReversePopupView::sizeHint() const {
    QLayout* l = layout();
    int w = std::clamp(l->sizeHint().width(), 400, 640);
    int h = l->hasHeightForWidth() ? l->totalHeightForWidth(w) : l->sizeHint().height();
    return {w, h};
}

}  // namespace talvo
