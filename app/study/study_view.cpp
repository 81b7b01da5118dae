#include "app/study/study_view.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QStyle>
#include <QVBoxLayout>

#include "app/study/breakable_text.h"
#include "app/study/keyed_button.h"
#include "app/theme/theme.h"
#include "core/study/study_session.h"
#include "core/study/study_texts.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

// Card texts come from the deck and the server: plain text only.
QLabel* label(const char* name, QFont font, const char* role = nullptr) {
    return theme::windowLabel(name, QString(), std::move(font), role);
}

// The front shrinks with its length so that a four-character word still
// fits the card on one line and a long phrase wraps instead of overflowing.
int frontPixelSize(const std::string& front) {
    size_t n = text::graphemeCount(front);
    if (n <= 1) {
        return 120;
    }
    if (n <= 2) {
        return 96;
    }
    if (n <= 4) {
        return 68;
    }
    return n <= 8 ? 48 : 34;
}

QString studyStyleSheet() {
    return theme::studyWindowStyleSheet(QStringLiteral("studyWindow")) +
           QStringLiteral(
               "QFrame#studyCard { background: %2; border: 1px solid %3; border-radius: 12px; }"
               "QLabel[role=\"key\"] { color: %4; }"
               "QLabel#newMark { color: %5; border: 1px solid %5; border-radius: 9px;"
               " padding: 1px 9px; }"
               "QLabel[verdict=\"right\"] { color: %6; }"
               "QLabel[verdict=\"wrong\"] { color: %5; }"
               "QPushButton[role=\"choice\"], QPushButton[role=\"rating\"] { background: %2;"
               " border: 1px solid %3; border-radius: 8px; padding: 0; }"
               "QPushButton[role=\"choice\"]:hover, QPushButton[role=\"rating\"]:hover {"
               " border-color: %7; }"
               "QPushButton[role=\"choice\"]:pressed, QPushButton[role=\"rating\"]:pressed {"
               " background: %1; }"
               "QPushButton[rating=\"1\"] QLabel#text { color: %5; }"
               "QPushButton[rating=\"2\"] QLabel#text { color: %7; }"
               "QPushButton[rating=\"3\"] QLabel#text { color: %6; }"
               "QPushButton[role=\"reveal\"] { padding: 8px 14px; }")
               .arg(YDao::paper().name(), YDao::card().name(), YDao::line().name(),
                    YDao::muted().name(), YDao::seal().name(), YDao::jade().name(),
                    YDao::gold().name());
}

}  // namespace

StudyView::StudyView(StudySession& session, QWidget* parent)
    : QWidget(parent, Qt::Window), m_session(session) {
    setObjectName(QStringLiteral("studyWindow"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(QString::fromUtf8(studytext::kStudyToday));
    setStyleSheet(studyStyleSheet());
    setFont(theme::bodyFont(14));
    setMinimumSize(440, 560);
    resize(540, 680);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(22, 16, 22, 18);
    outer->setSpacing(12);

    // The day's figures.
    auto* header = new QHBoxLayout;
    header->setSpacing(6);
    const char* captions[] = {studytext::kStreak, studytext::kReviewedToday, studytext::kRemaining,
                              studytext::kLearned};
    const char* names[] = {"streakValue", "reviewedValue", "remainingValue", "learnedValue"};
    for (size_t i = 0; i < m_figures.size(); ++i) {
        auto* box = new QVBoxLayout;
        box->setSpacing(0);
        m_figures[i] = label(names[i], theme::bodyFont(22, true));
        m_figures[i]->setAlignment(Qt::AlignCenter);
        QLabel* caption = label("caption", theme::bodyFont(12), "muted");
        caption->setText(QString::fromUtf8(captions[i]));
        caption->setAlignment(Qt::AlignCenter);
        box->addWidget(m_figures[i]);
        box->addWidget(caption);
        header->addLayout(box, 1);
    }
    outer->addLayout(header);
    auto* rule = new QFrame;
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Plain);
    outer->addWidget(rule);

    m_pages = new QStackedWidget;
    m_pages->setObjectName(QStringLiteral("pages"));
    outer->addWidget(m_pages, 1);

    // The card page: the card scrolls when a long gloss outgrows the window.
    m_cardPage = new QWidget;
    m_cardPage->setObjectName(QStringLiteral("cardPage"));
    auto* cardPage = new QVBoxLayout(m_cardPage);
    cardPage->setContentsMargins(0, 0, 0, 0);
    cardPage->setSpacing(10);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* scrolled = new QWidget;
    auto* scrolledLayout = new QVBoxLayout(scrolled);
    scrolledLayout->setContentsMargins(0, 0, 0, 0);
    auto* card = new QFrame;
    card->setObjectName(QStringLiteral("studyCard"));
    auto* cardLayout = new QVBoxLayout(card);
    cardLayout->setContentsMargins(20, 14, 20, 20);
    cardLayout->setSpacing(6);
    auto* markRow = new QHBoxLayout;
    m_newMark = label("newMark", theme::bodyFont(12));
    m_newMark->setWordWrap(false);
    m_newMark->setText(QString::fromUtf8(studytext::kNewCard));
    markRow->addStretch(1);
    markRow->addWidget(m_newMark);
    cardLayout->addLayout(markRow);
    cardLayout->addStretch(1);
    m_front = label("front", theme::hanFont(120));
    m_front->setAlignment(Qt::AlignCenter);
    m_front->setTextInteractionFlags(Qt::TextSelectableByMouse);
    cardLayout->addWidget(m_front);
    m_reading = label("reading", theme::bodyFont(26, true), "seal");
    m_reading->setAlignment(Qt::AlignCenter);
    cardLayout->addWidget(m_reading);
    m_gloss = label("gloss", theme::bodyFont(15));
    m_gloss->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_gloss->setTextInteractionFlags(Qt::TextSelectableByMouse);
    cardLayout->addWidget(m_gloss);
    m_strokeHost = new QWidget;
    m_strokeHost->setObjectName(QStringLiteral("strokeHost"));
    auto* strokeRow = new QHBoxLayout(m_strokeHost);
    strokeRow->setContentsMargins(0, 8, 0, 0);
    strokeRow->addStretch(1);
    strokeRow->addStretch(1);
    cardLayout->addWidget(m_strokeHost);
    cardLayout->addStretch(1);
    scrolledLayout->addWidget(card);
    scroll->setWidget(scrolled);
    cardPage->addWidget(scroll, 1);

    m_verdict = label("verdict", theme::bodyFont(15, true));
    m_verdict->setAlignment(Qt::AlignCenter);
    cardPage->addWidget(m_verdict);

    m_choiceBox = new QWidget;
    auto* choices = new QGridLayout(m_choiceBox);
    choices->setContentsMargins(0, 0, 0, 0);
    choices->setSpacing(8);
    for (size_t i = 0; i < m_choices.size(); ++i) {
        auto* b = new KeyedButton(QString::number(i + 1));
        b->setObjectName(QStringLiteral("choice%1").arg(i + 1));
        b->setProperty("role", "choice");
        b->setFont(theme::bodyFont(18));
        connect(b, &QPushButton::clicked, this, [this, i] {
            if (i < m_session.choices().size()) {
                m_session.pick(m_session.choices()[i]);
                refresh();
            }
        });
        choices->addWidget(b, static_cast<int>(i / 2), static_cast<int>(i % 2));
        m_choices[i] = b;
    }
    m_unsure = new QPushButton(QString::fromUtf8(studytext::kUnsureReveal));
    m_unsure->setObjectName(QStringLiteral("unsure"));
    m_unsure->setProperty("role", "reveal");
    choices->addWidget(m_unsure, 2, 0, 1, 2);
    cardPage->addWidget(m_choiceBox);

    m_reveal = new QPushButton(QString::fromUtf8(studytext::kReveal));
    m_reveal->setObjectName(QStringLiteral("reveal"));
    m_reveal->setProperty("role", "reveal");
    cardPage->addWidget(m_reveal);
    for (QPushButton* b : {m_unsure, m_reveal}) {
        // Explicitly: the platform theme's button font outranks the window's.
        b->setFont(theme::bodyFont(14));
        b->setFocusPolicy(Qt::NoFocus);
        b->setCursor(Qt::PointingHandCursor);
        connect(b, &QPushButton::clicked, this, [this] {
            m_session.reveal();
            refresh();
        });
    }

    m_ratingBar = new QWidget;
    auto* ratings = new QHBoxLayout(m_ratingBar);
    ratings->setContentsMargins(0, 0, 0, 0);
    ratings->setSpacing(8);
    for (size_t i = 0; i < m_ratings.size(); ++i) {
        auto* b = new KeyedButton(QString::number(i + 1));
        b->setObjectName(QStringLiteral("rate%1").arg(i + 1));
        b->setProperty("role", "rating");
        b->setProperty("rating", static_cast<int>(i + 1));
        b->setFont(theme::bodyFont(15, true));
        Rating r = kAllRatings[i];
        connect(b, &QPushButton::clicked, this, [this, r] {
            m_session.grade(r);
            refresh();
        });
        ratings->addWidget(b, 1);
        m_ratings[i] = b;
    }
    cardPage->addWidget(m_ratingBar);
    m_pages->addWidget(m_cardPage);

    // The finished page.
    m_finishedPage = new QWidget;
    m_finishedPage->setObjectName(QStringLiteral("finishedPage"));
    auto* finished = new QVBoxLayout(m_finishedPage);
    finished->setSpacing(10);
    finished->addStretch(2);
    QLabel* motto = label("motto", theme::hanFont(44), "seal");
    motto->setText(QString::fromUtf8(studytext::kMotto));
    QLabel* title = label("finishedTitle", theme::bodyFont(26, true));
    title->setText(QString::fromUtf8(studytext::kFinishedTitle));
    m_finishedText = label("finishedText", theme::bodyFont(15), "muted");
    for (QLabel* l : {motto, title, m_finishedText}) {
        l->setAlignment(Qt::AlignCenter);
        finished->addWidget(l);
    }
    finished->addStretch(3);
    m_pages->addWidget(m_finishedPage);

    retranslate();
    refresh();
}

StudyView::~StudyView() = default;

void StudyView::setLanguage(AppLanguage lang) {
    m_lang = lang;
    retranslate();
}

void StudyView::retranslate() {
    for (size_t i = 0; i < m_ratings.size(); ++i) {
        std::string_view text = ratingLabel(kAllRatings[i]).pick(m_lang);
        m_ratings[i]->setLabel(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    }
}

void StudyView::refresh() {
    refreshHeader();
    if (m_session.card()) {
        refreshCard();
        m_pages->setCurrentWidget(m_cardPage);
    } else {
        dropStrokeOrder();
        refreshFinished();
        m_pages->setCurrentWidget(m_finishedPage);
    }
}

void StudyView::refreshHeader() {
    const StudySummary& s = m_session.summary();
    // Damaged counts must not wrap into a negative "remaining".
    int64_t remaining = 0;
    if (__builtin_add_overflow(s.dueReviews, s.newRemaining, &remaining)) {
        remaining = INT64_MAX;
    }
    m_figures[0]->setText(QString::number(s.streak));
    m_figures[1]->setText(QString::number(s.reviewedToday));
    m_figures[2]->setText(QString::number(remaining));
    m_figures[3]->setText(QStringLiteral("%1/%2").arg(s.learned).arg(s.total));
}

void StudyView::refreshCard() {
    const StudyCard& card = *m_session.card();
    const bool revealed = m_session.revealed();
    const std::vector<std::string>& choices = m_session.choices();

    m_newMark->setVisible(card.isNew());
    // Smaller once revealed, leaving the room to the reading and the gloss.
    const int frontSize = frontPixelSize(card.front);
    m_front->setFont(theme::hanFont(revealed ? frontSize * 3 / 4 : frontSize));
    m_front->setText(q(card.front));
    m_reading->setText(breakableText(q(card.am)));
    m_reading->setVisible(revealed && !card.am.empty());
    m_gloss->setText(breakableText(q(card.gloss)));
    m_gloss->setVisible(revealed && !card.gloss.empty());

    std::optional<std::string> verdict = verdictLine(m_session.picked(), card.am);
    m_verdict->setVisible(revealed && verdict.has_value());
    m_verdict->setText(verdict ? breakableText(q(*verdict)) : QString());
    m_verdict->setProperty("verdict", m_session.pickedCorrect() ? "right" : "wrong");
    m_verdict->style()->unpolish(m_verdict);
    m_verdict->style()->polish(m_verdict);

    m_choiceBox->setVisible(!revealed && !choices.empty());
    for (size_t i = 0; i < m_choices.size(); ++i) {
        bool present = i < choices.size();
        m_choices[i]->setVisible(present);
        m_choices[i]->setLabel(present ? breakableText(q(choices[i])) : QString());
    }
    m_reveal->setVisible(!revealed && choices.empty());
    m_ratingBar->setVisible(revealed);

    if (revealed) {
        placeStrokeOrder();
    } else {
        dropStrokeOrder();
    }
}

void StudyView::placeStrokeOrder() {
    const StudyCard& card = *m_session.card();
    if (m_stroke && m_strokeCard == card.id) {
        return;
    }
    dropStrokeOrder();
    if (!strokeOrderView || text::graphemeCount(card.front) != 1) {
        return;
    }
    m_stroke = strokeOrderView(card.front, m_strokeHost);
    if (m_stroke) {
        m_strokeCard = card.id;
        // Between the two stretches: centred on the card.
        static_cast<QHBoxLayout*>(m_strokeHost->layout())->insertWidget(1, m_stroke);
        m_stroke->show();
    }
    m_strokeHost->setVisible(!m_stroke.isNull());
}

void StudyView::dropStrokeOrder() {
    if (m_stroke) {
        // Out of the tree at once; deleted once any event it is handling ends.
        m_stroke->hide();
        m_stroke->setParent(nullptr);
        m_stroke->deleteLater();
        m_stroke = nullptr;
    }
    m_strokeCard = -1;
    m_strokeHost->setVisible(false);
}

void StudyView::refreshFinished() {
    m_finishedText->setText(
        q(finishedText(m_session.doneThisSession(), m_session.summary().streak)));
}

void StudyView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (onVisibilityChanged) {
        onVisibilityChanged(true);
    }
}

void StudyView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (onVisibilityChanged) {
        onVisibilityChanged(false);
    }
}

}  // namespace talvo
