#include "app/progress/quiz_view.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyle>
#include <QVBoxLayout>
#include <string_view>

#include "app/theme/theme.h"
#include "core/progress/badges.h"
#include "core/progress/quiz_model.h"
#include "core/progress/xp.h"

namespace talvo {

namespace {

constexpr int kGlossChars = 140;  // the card line stays one or two lines

QString qs(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

// What each mode asks, under its title in the picker.
QString modeDescription(QuizMode mode) {
    switch (mode) {
        case QuizMode::AmFromHan:
            return QStringLiteral("Xem chữ Hán, chọn âm Hán-Việt đúng");
        case QuizMode::HanFromAm:
            return QStringLiteral("Xem âm Hán-Việt, chọn mặt chữ đúng");
        case QuizMode::TypeAm:
            return QStringLiteral("Xem chữ Hán, gõ âm — không cần dấu");
    }
    return {};
}

QLabel* label(const char* name, const QFont& font, Qt::Alignment align = Qt::AlignLeft) {
    auto* l = new QLabel;
    l->setObjectName(QString::fromLatin1(name));
    l->setFont(font);
    l->setAlignment(align | Qt::AlignVCenter);
    return l;
}

void setState(QWidget* w, const char* property, const QString& value) {
    if (w->property(property).toString() == value) {
        return;
    }
    w->setProperty(property, value);
    w->style()->unpolish(w);
    w->style()->polish(w);
}

// Keeps a widget's place in the layout while it is hidden, so the window
// does not jump between a question and its answer.
void keepPlace(QWidget* w) {
    QSizePolicy p = w->sizePolicy();
    p.setRetainSizeWhenHidden(true);
    w->setSizePolicy(p);
}

QString quizStyleSheet() {
    return theme::windowStyleSheet() +
           QStringLiteral(
               "QWidget#quizWindow { background: %1; }"
               "QLabel[role=\"muted\"] { color: %3; }"
               "QLabel#feedback[verdict=\"right\"] { color: %5; }"
               "QLabel#feedback[verdict=\"wrong\"] { color: %4; }"
               "QLabel#resultScore { color: %5; }"
               "QProgressBar { background: %6; border: none; border-radius: 3px;"
               " min-height: 6px; max-height: 6px; }"
               "QProgressBar::chunk { background: %5; border-radius: 3px; }"
               "QPushButton[role=\"mode\"] { text-align: left; padding: 8px 12px; }"
               "QPushButton[role=\"option\"] { text-align: left; padding: 6px 14px; }"
               "QPushButton[state=\"right\"] { background: %5; color: %2; border-color: %5; }"
               "QPushButton[state=\"wrong\"] { background: %4; color: %2; border-color: %4; }"
               "QPushButton[state=\"dim\"] { color: %3; }"
               "QPushButton#next, QPushButton#again { color: %2; background: %4;"
               " border-color: %4; font-weight: bold; padding: 5px 16px; }")
               .arg(YDao::paper().name(), YDao::card().name(), YDao::muted().name(),
                    YDao::seal().name(), YDao::jade().name(), YDao::line().name());
}

QPushButton* button(const char* name, const QString& text) {
    auto* b = new QPushButton(text);
    b->setObjectName(QString::fromLatin1(name));
    b->setAutoDefault(false);
    // Buttons take the platform's button face, not the window's, unless told.
    b->setFont(
        theme::bodyFont(13, std::string_view(name) == "next" || std::string_view(name) == "again"));
    return b;
}

}  // namespace

QuizView::QuizView(QuizModel& model, QWidget* parent)
    : QWidget(parent, Qt::Window), m_model(model) {
    setObjectName(QStringLiteral("quizWindow"));
    setWindowTitle(QStringLiteral("Kiểm tra"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(quizStyleSheet());
    setFont(theme::bodyFont(13));
    setMinimumWidth(500);

    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(24, 18, 24, 18);
    root->setSpacing(4);
    QLabel* title = label("title", theme::bodyFont(20, true));
    title->setText(QStringLiteral("Kiểm tra"));
    QLabel* subtitle = label("subtitle", theme::bodyFont(12));
    subtitle->setProperty("role", QStringLiteral("muted"));
    subtitle->setText(qs(quiztext::kSubtitle));
    root->addWidget(title);
    root->addWidget(subtitle);
    root->addSpacing(14);

    m_pages = new QStackedWidget;
    m_pickerPage = buildPicker();
    m_questionPage = buildQuestion();
    m_resultPage = buildResult();
    for (QWidget* page : {m_pickerPage, m_questionPage, m_resultPage}) {
        m_pages->addWidget(page);
    }
    root->addWidget(m_pages, 1);
    render();
}

QWidget* QuizView::buildPicker() {
    auto* page = new QWidget;
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(8);
    QLabel* heading = label("pickHeading", theme::bodyFont(15, true));
    heading->setText(qs(quiztext::kPickHeading));
    col->addWidget(heading);
    for (size_t i = 0; i < kAllQuizModes.size(); ++i) {
        const QuizMode mode = kAllQuizModes[i];
        QPushButton* b = button("", QString());
        b->setObjectName(QStringLiteral("mode_") + qs(rawValue(mode)));
        b->setProperty("role", QStringLiteral("mode"));
        b->setMinimumHeight(58);
        auto* row = new QHBoxLayout(b);
        row->setContentsMargins(14, 6, 14, 6);
        row->setSpacing(14);
        QLabel* key = label("", theme::bodyFont(18, true));
        key->setText(QString::number(i + 1));
        key->setProperty("role", QStringLiteral("muted"));
        auto* texts = new QVBoxLayout;
        texts->setSpacing(1);
        QLabel* name = label("", theme::bodyFont(15, true));
        name->setText(qs(title(mode)));
        QLabel* about = label("", theme::bodyFont(12));
        about->setProperty("role", QStringLiteral("muted"));
        about->setText(modeDescription(mode));
        texts->addWidget(name);
        texts->addWidget(about);
        row->addWidget(key);
        row->addLayout(texts, 1);
        for (QLabel* l : {key, name, about}) {
            l->setAttribute(Qt::WA_TransparentForMouseEvents);
        }
        connect(b, &QPushButton::clicked, this, [this, mode] { pickMode(mode); });
        m_modeButtons.push_back(b);
        col->addWidget(b);
    }
    col->addStretch(1);
    QLabel* hint = label("pickHint", theme::bodyFont(12), Qt::AlignHCenter);
    hint->setProperty("role", QStringLiteral("muted"));
    hint->setText(QStringLiteral("Phím 1 · 2 · 3 để chọn · Esc để đóng"));
    col->addWidget(hint);
    return page;
}

QWidget* QuizView::buildQuestion() {
    auto* page = new QWidget;
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(8);

    auto* top = new QHBoxLayout;
    m_progressText = label("progress", theme::bodyFont(13, true));
    m_scoreText = label("score", theme::bodyFont(13), Qt::AlignRight);
    m_scoreText->setProperty("role", QStringLiteral("muted"));
    top->addWidget(m_progressText);
    top->addStretch(1);
    top->addWidget(m_scoreText);
    col->addLayout(top);
    m_progressBar = new QProgressBar;
    m_progressBar->setObjectName(QStringLiteral("progressBar"));
    m_progressBar->setTextVisible(false);
    col->addWidget(m_progressBar);

    col->addSpacing(6);
    m_modePrompt = label("modePrompt", theme::bodyFont(13), Qt::AlignHCenter);
    m_modePrompt->setProperty("role", QStringLiteral("muted"));
    col->addWidget(m_modePrompt);
    m_prompt = label("prompt", theme::hanFont(72), Qt::AlignHCenter);
    m_prompt->setMinimumHeight(100);
    m_prompt->setWordWrap(true);
    col->addWidget(m_prompt);

    // The options and the typing field take turns in one place, so every
    // question of every mode keeps the window the same size.
    m_answerArea = new QStackedWidget;
    auto* optionsPage = new QWidget;
    auto* options = new QGridLayout(optionsPage);
    options->setContentsMargins(0, 0, 0, 0);
    options->setSpacing(8);
    for (size_t i = 0; i < m_options.size(); ++i) {
        QPushButton* b = button("", QString());
        b->setObjectName(QStringLiteral("option%1").arg(i + 1));
        b->setProperty("role", QStringLiteral("option"));
        b->setMinimumHeight(50);
        b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        keepPlace(b);
        connect(b, &QPushButton::clicked, this, [this, i] { chooseOption(i); });
        options->addWidget(b, static_cast<int>(i) / 2, static_cast<int>(i) % 2);
        m_options[i] = b;
    }
    m_answerArea->addWidget(optionsPage);

    m_typeRow = new QWidget;
    auto* typeCol = new QVBoxLayout(m_typeRow);
    typeCol->setContentsMargins(0, 0, 0, 0);
    auto* typeRow = new QHBoxLayout;
    typeCol->addStretch(1);
    typeCol->addLayout(typeRow);
    typeCol->addStretch(1);
    m_typed = new QLineEdit;
    m_typed->setObjectName(QStringLiteral("typed"));
    m_typed->setFont(theme::bodyFont(17));
    m_typed->setPlaceholderText(QStringLiteral("Gõ âm Hán-Việt, ví dụ: han"));
    m_typed->setMinimumHeight(38);
    m_submit = button("submit", QStringLiteral("Trả lời  (⏎)"));
    m_submit->setMinimumHeight(38);
    typeRow->addWidget(m_typed, 1);
    typeRow->addWidget(m_submit);
    m_answerArea->addWidget(m_typeRow);
    col->addWidget(m_answerArea);
    connect(m_submit, &QPushButton::clicked, this, &QuizView::submitTyped);

    col->addSpacing(4);
    m_feedback = label("feedback", theme::bodyFont(15, true));
    m_feedback->setWordWrap(true);
    m_cardLine = label("cardLine", theme::bodyFont(13));
    m_cardLine->setWordWrap(true);
    m_cardLine->setMinimumHeight(2 * m_cardLine->fontMetrics().lineSpacing());
    m_cardLine->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    col->addWidget(m_feedback);
    col->addWidget(m_cardLine);
    auto* bottom = new QHBoxLayout;
    bottom->addStretch(1);
    m_next = button("next", qs(quiztext::kNext));
    m_next->setMinimumHeight(34);
    keepPlace(m_next);
    bottom->addWidget(m_next);
    col->addLayout(bottom);
    connect(m_next, &QPushButton::clicked, this, &QuizView::advance);
    col->addStretch(1);
    return page;
}

QWidget* QuizView::buildResult() {
    auto* page = new QWidget;
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(8);
    col->addStretch(1);
    m_resultHeading = label("resultHeading", theme::bodyFont(17, true), Qt::AlignHCenter);
    m_resultHeading->setWordWrap(true);
    m_resultScore = label("resultScore", theme::bodyFont(46, true), Qt::AlignHCenter);
    m_resultDetail = label("resultDetail", theme::bodyFont(14), Qt::AlignHCenter);
    m_resultDetail->setWordWrap(true);
    m_newBadges = label("newBadges", theme::bodyFont(14), Qt::AlignHCenter);
    m_newBadges->setWordWrap(true);
    col->addWidget(m_resultHeading);
    col->addWidget(m_resultScore);
    col->addWidget(m_resultDetail);
    col->addWidget(m_newBadges);
    col->addSpacing(16);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    m_again = button("again", qs(quiztext::kAgain));
    m_close = button("close", QStringLiteral("Đóng"));
    for (QPushButton* b : {m_again, m_close}) {
        b->setMinimumHeight(34);
        buttons->addWidget(b);
    }
    buttons->addStretch(1);
    col->addLayout(buttons);
    col->addStretch(2);
    connect(m_again, &QPushButton::clicked, this, &QuizView::showPicker);
    connect(m_close, &QPushButton::clicked, this, &QWidget::close);
    return page;
}

void QuizView::showPicker() {
    m_picking = true;
    render();
}

void QuizView::pickMode(QuizMode mode) {
    m_picking = false;
    m_model.start(mode);
    m_typed->clear();
    render();
}

void QuizView::chooseOption(size_t n) {
    const QuizQuestion* q = m_model.current();
    if (m_picking || !q || m_model.answered() || n >= q->options.size()) {
        return;
    }
    m_model.choose(q->options[n]);
    render();
}

void QuizView::submitTyped() {
    const QuizQuestion* q = m_model.current();
    if (m_picking || !q || m_model.answered() || q->mode != QuizMode::TypeAm ||
        m_typed->text().trimmed().isEmpty()) {
        return;
    }
    m_model.setTyped(m_typed->text().toStdString());
    m_model.submitTyped();
    render();
}

void QuizView::advance() {
    if (m_picking || !m_model.answered()) {
        return;
    }
    m_model.next();
    m_typed->clear();
    render();
    if (m_model.phase() == QuizModel::Phase::Finished) {
        emit quizFinished();
    }
}

void QuizView::render() {
    if (m_picking) {
        m_pages->setCurrentWidget(m_pickerPage);
    } else if (m_model.phase() == QuizModel::Phase::Question) {
        renderQuestion();
        m_pages->setCurrentWidget(m_questionPage);
    } else {
        renderResult();
        m_pages->setCurrentWidget(m_resultPage);
    }
    placeFocus();
}

void QuizView::renderQuestion() {
    const QuizQuestion* q = m_model.current();
    if (!q) {
        return;
    }
    const int count = static_cast<int>(m_model.questions().size());
    const int number = static_cast<int>(m_model.index()) + 1;
    const bool answered = m_model.answered();
    m_progressText->setText(QStringLiteral("Câu %1/%2").arg(number).arg(count));
    m_scoreText->setText(QStringLiteral("đúng %1").arg(m_model.score()));
    m_progressBar->setRange(0, count);
    m_progressBar->setValue(number - (answered ? 0 : 1));
    m_modePrompt->setText(qs(prompt(q->mode)));
    // The reading of a "pick the character" question is Latin text: a large
    // body face reads better there than the Hán serif.
    m_prompt->setFont(q->mode == QuizMode::HanFromAm ? theme::bodyFont(40, true)
                                                     : theme::hanFont(72));
    m_prompt->setText(qs(q->prompt));

    const bool typing = q->mode == QuizMode::TypeAm;
    const QFont optionFont =
        q->mode == QuizMode::HanFromAm ? theme::hanFont(26) : theme::bodyFont(17);
    for (size_t i = 0; i < m_options.size(); ++i) {
        QPushButton* b = m_options[i];
        const bool present = !typing && i < q->options.size();
        b->setVisible(present);
        if (!present) {
            continue;
        }
        const std::string& option = q->options[i];
        b->setFont(optionFont);
        b->setText(QStringLiteral("%1   %2").arg(i + 1).arg(qs(option)));
        QString state;
        if (answered) {
            if (option == q->answer) {
                state = QStringLiteral("right");
            } else if (m_model.selected() == option) {
                state = QStringLiteral("wrong");
            } else {
                state = QStringLiteral("dim");
            }
        }
        setState(b, "state", state);
    }
    m_answerArea->setCurrentWidget(typing ? m_typeRow : m_answerArea->widget(0));
    m_typed->setReadOnly(answered);
    m_submit->setEnabled(!answered);

    if (!answered) {
        m_feedback->clear();
        m_cardLine->clear();
        setState(m_feedback, "verdict", QString());
    } else {
        if (m_model.lastCorrect()) {
            m_feedback->setText(qs(quiztext::kRight));
        } else if (typing) {
            m_feedback->setText(qs(quiztext::kWrongTyped) + m_typed->text().trimmed() +
                                qs(quiztext::kQuoteEnd));
        } else {
            m_feedback->setText(qs(quiztext::kWrongPick) + qs(m_model.selected().value_or("")) +
                                qs(quiztext::kQuoteEnd));
        }
        setState(m_feedback, "verdict",
                 m_model.lastCorrect() ? QStringLiteral("right") : QStringLiteral("wrong"));
        QString gloss = qs(q->card.gloss).simplified();
        if (gloss.size() > kGlossChars) {
            gloss = gloss.left(kGlossChars - 1).trimmed() + QStringLiteral("…");
        }
        QString line = qs(q->card.front) + QStringLiteral(" — ") + qs(q->card.am);
        if (!gloss.isEmpty()) {
            line += QStringLiteral(" — ") + gloss;
        }
        m_cardLine->setText(line);
    }
    m_next->setVisible(answered);
}

void QuizView::renderResult() {
    const bool tooSmall = m_model.deckTooSmall();
    m_resultScore->setVisible(!tooSmall);
    m_again->setVisible(!tooSmall);
    m_close->setVisible(tooSmall);
    if (tooSmall) {
        m_resultHeading->setText(qs(quiztext::kNotEnoughCards));
        m_resultDetail->setText(qs(quiztext::kNotEnoughHint));
        m_newBadges->clear();
        return;
    }
    const int64_t score = m_model.score();
    const size_t count = m_model.questions().size();
    m_resultHeading->setText(QStringLiteral("Kết quả · ") +
                             qs(title(m_model.mode().value_or(QuizMode::AmFromHan))));
    m_resultScore->setText(QStringLiteral("%1/%2").arg(score).arg(count));
    m_resultDetail->setText(QStringLiteral("Đúng %1 trên %2 câu · +%3 XP")
                                .arg(score)
                                .arg(count)
                                .arg(score * XP::kQuizCorrect));
    QStringList badges;
    for (const std::string& code : m_model.newBadges()) {
        if (std::optional<BadgeDef> b = Badges::def(code)) {
            badges << qs(b->han) + QLatin1Char(' ') + qs(b->name);
        }
    }
    m_newBadges->setText(badges.isEmpty() ? QString()
                                          : QStringLiteral("Huy hiệu mới: ") +
                                                badges.join(QStringLiteral(" · ")));
}

void QuizView::placeFocus() {
    QWidget* target = nullptr;
    if (m_picking) {
        target = m_modeButtons.empty() ? nullptr : m_modeButtons.front();
    } else if (const QuizQuestion* q = m_model.current()) {
        if (m_model.answered()) {
            target = m_next;
        } else if (q->mode == QuizMode::TypeAm) {
            target = m_typed;
        } else {
            target = m_options[0];
        }
    } else {
        target = m_model.deckTooSmall() ? m_close : m_again;
    }
    if (target) {
        target->setFocus(Qt::OtherFocusReason);
    }
}

void QuizView::keyPressEvent(QKeyEvent* event) {
    // Alt-, Control- and Command-digits belong to the system and to other
    // shortcuts; the keypad's digits are digits.
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    const int key = event->key();
    if (key == Qt::Key_Escape && mods == Qt::NoModifier) {
        close();
        return;
    }
    if (mods != Qt::NoModifier) {
        QWidget::keyPressEvent(event);
        return;
    }
    const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
    const bool digit = key >= Qt::Key_1 && key <= Qt::Key_9;
    if (m_picking) {
        if (digit && static_cast<size_t>(key - Qt::Key_1) < kAllQuizModes.size()) {
            pickMode(kAllQuizModes[static_cast<size_t>(key - Qt::Key_1)]);
            return;
        }
    } else if (const QuizQuestion* q = m_model.current()) {
        if (m_model.answered() && enter) {
            advance();
            return;
        }
        if (!m_model.answered() && enter && q->mode == QuizMode::TypeAm) {
            submitTyped();
            return;
        }
        if (!m_model.answered() && digit) {
            chooseOption(static_cast<size_t>(key - Qt::Key_1));
            return;
        }
    } else if (enter) {
        if (m_model.deckTooSmall()) {
            close();
        } else {
            showPicker();
        }
        return;
    }
    QWidget::keyPressEvent(event);
}

void QuizView::closeEvent(QCloseEvent* event) {
    hide();
    event->ignore();
}

}  // namespace talvo
