#include "app/popup/popup_view.h"

#include <QApplication>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "app/popup/fitting_scroll_area.h"
#include "app/shell/localization.h"
#include "app/theme/theme.h"
#include "core/l10n/localization.h"
#include "core/text/unicode.h"
#include "core/ui/lookup_text.h"

namespace talvo {

namespace {

constexpr int kMinContentWidth = 400;
constexpr int kMaxContentWidth = 640;
// Headers longer than this are cut: the rows below hold every character.
constexpr size_t kHeaderGraphemes = 80;
constexpr int kReadingsLineChars = 600;

QString elided(const std::string& s, size_t maxGraphemes) {
    std::string out;
    size_t n = 0;
    bool cut = false;
    text::forEachGrapheme(s, [&](std::string_view g) {
        if (n == maxGraphemes) {
            cut = true;
            return false;
        }
        out.append(g);
        ++n;
        return true;
    });
    QString q = QString::fromStdString(out);
    return cut ? q + QStringLiteral("…") : q;
}

void setRole(QWidget* w, const char* role) {
    w->setProperty("role", role);
    w->style()->unpolish(w);
    w->style()->polish(w);
}

QString readingsHtml(const std::vector<std::string>& readings, const QString& none) {
    QStringList parts;
    for (const std::string& r : readings) {
        if (!r.empty()) {
            parts << QString::fromStdString(r).toHtmlEscaped();
        }
    }
    if (parts.isEmpty()) {
        return QStringLiteral("<span style=\"color:%1\">%2</span>")
            .arg(YDao::muted().name(), none.toHtmlEscaped());
    }
    QString html =
        QStringLiteral("<b style=\"color:%1\">%2</b>").arg(YDao::seal().name(), parts[0]);
    if (parts.size() > 1) {
        html += QStringLiteral(" <span style=\"color:%1\">· %2</span>")
                    .arg(YDao::muted().name(), parts.mid(1).join(QStringLiteral(" · ")));
    }
    return html;
}

// A translation of this many characters is what the panel makes room for;
// a longer one scrolls.
QString sampleTranslation(const PhraseLookup& r) {
    int n = std::clamp(static_cast<int>(r.chars.size()) * 6, 40, 480);
    QString s;
    while (s.size() < n) {
        s += QStringLiteral("mmmmm ");
    }
    return s;
}

class EscapeFilter : public QObject {
  public:
    EscapeFilter(QObject* parent, std::function<void()> onEscape)
        : QObject(parent), m_onEscape(std::move(onEscape)) {}

  protected:
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::ShortcutOverride || e->type() == QEvent::KeyPress) {
            if (static_cast<QKeyEvent*>(e)->key() == Qt::Key_Escape) {
                e->accept();
                if (e->type() == QEvent::KeyPress) {
                    // Later: the filter's owner goes away with the editor.
                    QTimer::singleShot(0, parent(), m_onEscape);
                }
                return true;
            }
        }
        return false;
    }

  private:
    std::function<void()> m_onEscape;
};

// Return or Enter on a focused word acts like a click on it.
class EnterFilter : public QObject {
  public:
    EnterFilter(QObject* parent, std::function<void()> onEnter)
        : QObject(parent), m_onEnter(std::move(onEnter)) {}

  protected:
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::KeyPress) {
            int key = static_cast<QKeyEvent*>(e)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                m_onEnter();
                return true;
            }
        }
        return false;
    }

  private:
    std::function<void()> m_onEnter;
};

bool hasLongWord(const PhraseLookup& r) {
    return std::any_of(r.words.begin(), r.words.end(),
                       [](const WordReading& w) { return w.length > 1; });
}

}  // namespace

PopupView::PopupView(const PhraseLookup& result, PopupActions actions, Localization& l10n,
                     QWidget* parent)
    : QWidget(parent), m_result(result), m_actions(std::move(actions)), m_l10n(l10n) {
    setObjectName(QStringLiteral("popupContent"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::popupStyleSheet());
    setFont(theme::bodyFont(13));
    m_outer = new QVBoxLayout(this);
    m_outer->setContentsMargins(18, 14, 18, 14);
    m_outer->setSpacing(8);
    if (isMessage()) {
        buildMessage();
    } else {
        buildLookup();
    }
}

PopupView::~PopupView() {
    *m_alive = false;
}

QPushButton* PopupView::button(const QString& text, const char* name) {
    auto* b = new QPushButton(text);
    b->setObjectName(QString::fromLatin1(name));
    b->setCursor(Qt::PointingHandCursor);
    b->setFont(theme::bodyFont(12));
    return b;
}

QToolButton* PopupView::closeButton() {
    auto* close = new QToolButton;
    close->setObjectName(QStringLiteral("close"));
    close->setText(QStringLiteral("✕"));
    close->setToolTip(m_l10n.text(msg::kClose));
    connect(close, &QToolButton::clicked, this, [this] {
        if (m_actions.close) {
            m_actions.close();
        }
    });
    return close;
}

void PopupView::buildMessage() {
    auto* row = new QHBoxLayout;
    auto* text = theme::plainLabel(QString::fromStdString(m_result.phrase), theme::bodyFont(15));
    text->setObjectName(QStringLiteral("message"));
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addWidget(text, 1);
    if (m_actions.close) {
        row->addWidget(closeButton(), 0, Qt::AlignTop);
    }
    m_outer->addLayout(row);
    m_outer->addStretch(1);
}

void PopupView::buildLookup() {
    // Header: the phrase, its readings line, the close button.
    auto* head = new QHBoxLayout;
    auto* phrase = theme::plainLabel(elided(m_result.phrase, kHeaderGraphemes), theme::hanFont(28));
    phrase->setObjectName(QStringLiteral("phrase"));
    phrase->setTextInteractionFlags(Qt::TextSelectableByMouse);
    head->addWidget(phrase, 1);
    // Hosted below the text read off the screen, the host's close serves.
    if (m_actions.close) {
        head->addWidget(closeButton(), 0, Qt::AlignTop);
    }
    m_outer->addLayout(head);

    std::string am = readingsLine();
    if (!am.empty()) {
        QString line = QString::fromStdString(am);
        if (line.size() > kReadingsLineChars) {
            line = line.left(kReadingsLineChars) + QStringLiteral("…");
        }
        auto* amLabel = theme::plainLabel(line, theme::bodyFont(17, true), "reading");
        amLabel->setObjectName(QStringLiteral("amString"));
        amLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_outer->addWidget(amLabel);
    }

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(6);
    auto* copyChars = button(m_l10n.text(msg::kCopyCharacters), "copyCharacters");
    connect(copyChars, &QPushButton::clicked, this, &PopupView::copyCharacters);
    buttons->addWidget(copyChars);
    if (!am.empty()) {
        auto* copyAm = button(m_l10n.text(msg::kCopyReadings), "copyReadings");
        connect(copyAm, &QPushButton::clicked, this, &PopupView::copyReadings);
        buttons->addWidget(copyAm);
    }
    auto* copyAll = button(m_l10n.text(msg::kCopyAll), "copyAll");
    connect(copyAll, &QPushButton::clicked, this, &PopupView::copyAll);
    buttons->addWidget(copyAll);
    buttons->addStretch(1);
    if (m_actions.translate) {
        m_translateButton = button(m_l10n.text(msg::kTranslate), "translate");
        connect(m_translateButton, &QPushButton::clicked, this, &PopupView::requestTranslation);
        buttons->addWidget(m_translateButton);
    }
    if (m_actions.addToStudy) {
        // Wide enough for its "added" label too, so nothing is cut when it changes.
        m_studyButton = button(m_l10n.text(msg::kAddedToStudy), "addToStudy");
        m_studyButton->setProperty("role", "primary");
        m_studyButton->ensurePolished();
        m_studyButton->setMinimumWidth(m_studyButton->sizeHint().width());
        if (m_actions.inStudy) {
            m_studyButton->setEnabled(false);
        } else {
            m_studyButton->setText(m_l10n.text(msg::kAddToStudy));
        }
        connect(m_studyButton, &QPushButton::clicked, this, &PopupView::addToStudy);
        buttons->addWidget(m_studyButton);
    }
    m_outer->addLayout(buttons);

    auto* rule = new QFrame;
    rule->setProperty("role", "rule");
    m_outer->addWidget(rule);

    // Body: a row per character, then the full entry.
    m_body = new QWidget;
    m_body->setObjectName(QStringLiteral("popupBody"));
    m_body->setAttribute(Qt::WA_StyledBackground);
    auto* body = new QVBoxLayout(m_body);
    body->setContentsMargins(0, 0, 6, 0);
    body->setSpacing(6);
    // A phrase with words leads with them; its characters follow as always.
    if (hasLongWord(m_result)) {
        body->addWidget(
            theme::plainLabel(m_l10n.text(msg::kWordsHeading), theme::bodyFont(11, true), "muted"));
        int words = std::min(static_cast<int>(m_result.words.size()), kMaxRows);
        for (int i = 0; i < words; ++i) {
            body->addWidget(buildWordRow(m_result.words[static_cast<size_t>(i)], i));
        }
        body->addSpacing(4);
        body->addWidget(theme::plainLabel(m_l10n.text(msg::kCharactersHeading),
                                          theme::bodyFont(11, true), "muted"));
    }
    int shown = std::min(static_cast<int>(m_result.chars.size()), kMaxRows);
    for (int i = 0; i < shown; ++i) {
        body->addWidget(buildRow(m_result.chars[static_cast<size_t>(i)], i));
    }
    if (static_cast<int>(m_result.chars.size()) > shown) {
        body->addWidget(theme::plainLabel(
            m_l10n.format(msg::kMoreCharacters,
                          QString::number(static_cast<int>(m_result.chars.size()) - shown)),
            theme::bodyFont(12), "muted"));
    }
    if (m_result.chars.size() == 1 && m_actions.strokeOrder) {
        if (QWidget* strokes = m_actions.strokeOrder(m_result.chars.front().ch, m_body)) {
            body->addWidget(strokes);
        }
    }
    if (m_result.nghia && !m_result.nghia->empty()) {
        auto* heading =
            theme::plainLabel(m_l10n.text(msg::kFullEntry), theme::bodyFont(11, true), "muted");
        body->addSpacing(4);
        body->addWidget(heading);
        auto* full =
            theme::plainLabel(QString::fromStdString(*m_result.nghia), theme::bodyFont(13));
        full->setObjectName(QStringLiteral("fullEntry"));
        full->setTextInteractionFlags(Qt::TextSelectableByMouse);
        body->addWidget(full);
    }
    body->addStretch(1);
    auto* scroll = new FittingScrollArea;
    scroll->setWidget(m_body);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Tab goes from the buttons straight to the words and the reading editors.
    scroll->setFocusPolicy(Qt::NoFocus);
    m_outer->addWidget(scroll, 1);

    m_translationBlock = new QFrame;
    m_translationBlock->setProperty("role", "translation");
    auto* tl = new QVBoxLayout(m_translationBlock);
    tl->setContentsMargins(10, 8, 10, 8);
    m_translationLabel = theme::plainLabel(QString(), theme::bodyFont(14));
    m_translationLabel->setObjectName(QStringLiteral("translation"));
    m_translationLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    tl->addWidget(m_translationLabel);
    m_translationBlock->hide();
    m_outer->addWidget(m_translationBlock);

    m_status = theme::plainLabel(QString(), theme::bodyFont(11), "ok");
    m_status->setObjectName(QStringLiteral("status"));
    m_status->hide();
    m_outer->addWidget(m_status);
}

QWidget* PopupView::buildRow(const CharReading& c, int index) {
    auto* row = new QWidget;
    row->setObjectName(QStringLiteral("row%1").arg(index));
    auto* h = new QHBoxLayout(row);
    h->setContentsMargins(0, 2, 0, 2);
    h->setSpacing(10);
    auto* glyph = new QPushButton(QString::fromStdString(c.ch));
    glyph->setProperty("role", "glyph");
    glyph->setFont(theme::hanFont(36));
    glyph->setFixedWidth(52);
    glyph->setCursor(Qt::PointingHandCursor);
    glyph->setToolTip(m_l10n.text(msg::kClickToCopy));
    glyph->setFocusPolicy(Qt::NoFocus);
    std::string ch = c.ch;
    connect(glyph, &QPushButton::clicked, this, [this, ch] {
        if (m_actions.copy) {
            m_actions.copy(QString::fromStdString(ch));
            flashCopied();
        }
    });
    h->addWidget(glyph, 0, Qt::AlignTop);

    auto* column = new QVBoxLayout;
    column->setSpacing(2);
    auto* readings = new QLabel(readingsHtml(c.readings, m_l10n.text(msg::kNoReading)));
    readings->setObjectName(QStringLiteral("readings"));
    readings->setTextFormat(Qt::RichText);
    readings->setWordWrap(true);
    readings->setFont(theme::bodyFont(16));
    column->addWidget(readings);
    if (c.gloss && !c.gloss->empty()) {
        auto* gloss = theme::plainLabel(QString::fromStdString(*c.gloss), theme::bodyFont(13));
        gloss->setObjectName(QStringLiteral("gloss"));
        gloss->setTextInteractionFlags(Qt::TextSelectableByMouse);
        column->addWidget(gloss);
    }
    h->addLayout(column, 1);

    if (m_actions.saveReading) {
        auto* edit = new QToolButton;
        edit->setObjectName(QStringLiteral("edit"));
        edit->setText(QStringLiteral("✎"));
        edit->setToolTip(m_l10n.text(msg::kEditReading));
        connect(edit, &QToolButton::clicked, this, [this, index] { beginEditing(index); });
        h->addWidget(edit, 0, Qt::AlignTop);
    }
    m_rows.push_back({row, column});
    return row;
}

QWidget* PopupView::buildWordRow(const WordReading& w, int index) {
    auto* row = new QWidget;
    row->setObjectName(QStringLiteral("word%1").arg(index));
    auto* h = new QHBoxLayout(row);
    h->setContentsMargins(0, 2, 0, 2);
    h->setSpacing(10);
    auto* glyph = new QPushButton(QString::fromStdString(w.text));
    glyph->setObjectName(QStringLiteral("wordText"));
    glyph->setProperty("role", "glyph");
    glyph->setFont(theme::hanFont(24));
    glyph->setMinimumWidth(52);
    glyph->setCursor(Qt::PointingHandCursor);
    glyph->setToolTip(m_l10n.text(msg::kShowWordCharacters));
    connect(glyph, &QPushButton::clicked, this, [this, index] { toggleWordCharacters(index); });
    glyph->installEventFilter(
        new EnterFilter(glyph, [this, index] { toggleWordCharacters(index); }));
    h->addWidget(glyph, 0, Qt::AlignTop);

    auto* column = new QVBoxLayout;
    column->setSpacing(2);
    auto* reading = new QLabel(readingsHtml({w.reading}, m_l10n.text(msg::kNoReading)));
    reading->setObjectName(QStringLiteral("wordReading"));
    reading->setTextFormat(Qt::RichText);
    reading->setFont(theme::bodyFont(16));
    column->addWidget(reading);
    // The Vietnamese gloss; else the English one, set apart as such.
    QString gloss = w.gloss     ? QString::fromStdString(*w.gloss)
                    : w.english ? QStringLiteral("EN · ") + QString::fromStdString(*w.english)
                                : QString();
    if (!gloss.isEmpty()) {
        auto* label = theme::plainLabel(gloss, theme::bodyFont(13), w.gloss ? nullptr : "muted");
        label->setObjectName(QStringLiteral("wordGloss"));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        column->addWidget(label);
    }
    auto* characters = theme::plainLabel(wordCharacters(w), theme::bodyFont(13), "muted");
    characters->setObjectName(QStringLiteral("wordCharacters"));
    characters->setTextInteractionFlags(Qt::TextSelectableByMouse);
    characters->hide();
    column->addWidget(characters);
    h->addLayout(column, 1);
    m_wordRows.push_back(characters);
    return row;
}

// One line per character of the word: "少  thiểu · thiếu — gloss".
QString PopupView::wordCharacters(const WordReading& w) const {
    QStringList lines;
    for (size_t k = w.start; k < w.start + w.length && k < m_result.chars.size(); ++k) {
        const CharReading& c = m_result.chars[k];
        QString line = QString::fromStdString(c.ch);
        std::string readings = joinReadings(c.readings);
        if (!readings.empty()) {
            line += QStringLiteral("  ") + QString::fromStdString(readings);
        }
        if (c.gloss && !c.gloss->empty()) {
            line += QStringLiteral(" — ") + QString::fromStdString(*c.gloss);
        }
        lines << line;
    }
    return lines.join(QLatin1Char('\n'));
}

void PopupView::toggleWordCharacters(int word) {
    if (word < 0 || word >= wordRowCount()) {
        return;
    }
    QLabel* characters = m_wordRows[static_cast<size_t>(word)];
    characters->setVisible(characters->isHidden());
}

bool PopupView::showsWordCharacters(int word) const {
    return word >= 0 && word < wordRowCount() && !m_wordRows[static_cast<size_t>(word)]->isHidden();
}

std::string PopupView::readingsLine() const {
    return m_result.words.empty() ? m_result.amString() : m_result.wordAmString();
}

void PopupView::requestTranslation() {
    if (!m_translationBlock || m_translating) {
        return;
    }
    m_translating = true;
    m_translationBlock->show();
    m_translationLabel->setText(m_l10n.text(msg::kTranslating));
    setRole(m_translationLabel, "muted");
    if (m_translateButton) {
        m_translateButton->setEnabled(false);
    }
    if (!m_actions.translate) {
        showTranslation(wire::TranslateResult::failed());
        return;
    }
    std::weak_ptr<bool> alive = m_alive;
    m_actions.translate(m_result.phrase, [this, alive](wire::TranslateResult r) {
        if (auto a = alive.lock(); a && *a) {
            showTranslation(r);
        }
    });
}

void PopupView::showTranslation(const wire::TranslateResult& r) {
    if (!m_translationBlock) {
        return;
    }
    m_translating = false;
    m_translationBlock->show();
    switch (r.kind) {
        case wire::TranslateResult::Kind::translated:
            m_translationLabel->setText(QString::fromStdString(text::sanitizeUtf8(r.text)));
            setRole(m_translationLabel, "");
            break;
        case wire::TranslateResult::Kind::queued:
            m_translationLabel->setText(m_l10n.text(msg::kTranslationQueued));
            setRole(m_translationLabel, "queued");
            break;
        case wire::TranslateResult::Kind::failed:
        case wire::TranslateResult::Kind::signInNeeded:
        case wire::TranslateResult::Kind::limited:
            m_translationLabel->setText(m_l10n.text(translationFailureText(r.kind)));
            setRole(m_translationLabel, "failed");
            break;
    }
    if (m_translateButton) {
        m_translateButton->setEnabled(true);
    }
}

QString PopupView::translationText() const {
    return m_translationBlock && !m_translationBlock->isHidden() ? m_translationLabel->text()
                                                                 : QString();
}

void PopupView::beginEditing(int row) {
    if (row < 0 || row >= rowCount() || !m_actions.saveReading) {
        return;
    }
    cancelEditing();
    const CharReading& c = m_result.chars[static_cast<size_t>(row)];
    QStringList current;
    for (const std::string& r : c.readings) {
        if (!r.empty()) {
            current << QString::fromStdString(r);
        }
    }
    m_editor = new QLineEdit(current.join(QStringLiteral(", ")));
    m_editor->setObjectName(QStringLiteral("readingEditor"));
    m_editor->setFont(theme::bodyFont(14));
    m_editor->selectAll();
    m_editor->installEventFilter(new EscapeFilter(m_editor, [this] { cancelEditing(); }));
    connect(m_editor, &QLineEdit::returnPressed, this, &PopupView::saveEditing);
    m_editorHint =
        theme::plainLabel(m_l10n.text(msg::kEditReadingHint), theme::bodyFont(11), "muted");
    m_rows[static_cast<size_t>(row)].textColumn->addWidget(m_editor);
    m_rows[static_cast<size_t>(row)].textColumn->addWidget(m_editorHint);
    m_editingRow = row;
    m_editor->setFocus(Qt::OtherFocusReason);
}

void PopupView::cancelEditing() {
    if (!m_editingRow) {
        return;
    }
    m_editingRow.reset();
    // Deleted later: this may run from inside the editor's own key handling.
    m_editor->hide();
    m_editor->deleteLater();
    m_editor = nullptr;
    m_editorHint->hide();
    m_editorHint->deleteLater();
    m_editorHint = nullptr;
    setFocus(Qt::OtherFocusReason);
}

void PopupView::saveEditing() {
    if (!m_editingRow || !m_editor) {
        return;
    }
    std::string ch = m_result.chars[static_cast<size_t>(*m_editingRow)].ch;
    std::string text = m_editor->text().toStdString();
    cancelEditing();
    if (m_actions.saveReading) {
        m_actions.saveReading(ch, text);
    }
}

void PopupView::addToStudy() {
    if (!m_studyButton || !m_studyButton->isEnabled()) {
        return;
    }
    if (m_actions.addToStudy) {
        m_actions.addToStudy();
    }
    m_studyButton->setText(m_l10n.text(msg::kAddedToStudy));
    m_studyButton->setEnabled(false);
}

void PopupView::copyCharacters() {
    if (m_actions.copy) {
        m_actions.copy(QString::fromStdString(m_result.phrase));
        flashCopied();
    }
}

void PopupView::copyReadings() {
    if (m_actions.copy) {
        m_actions.copy(QString::fromStdString(readingsLine()));
        flashCopied();
    }
}

void PopupView::copyAll() {
    if (m_actions.copy) {
        m_actions.copy(QString::fromStdString(lookupPlainText(m_result)));
        flashCopied();
    }
}

void PopupView::flashCopied() {
    if (!m_status) {
        return;
    }
    m_status->setText(QStringLiteral("✓ ") + m_l10n.text(msg::kCopied));
    m_status->show();
    QTimer::singleShot(1500, this, [this] { m_status->hide(); });
}

QSize PopupView::sizeHintFor(Variant variant) {
    if (isMessage() || variant == Variant::Plain) {
        return sizeHint();
    }
    if (variant == Variant::Translated) {
        if (!m_translationBlock->isHidden()) {
            return sizeHint();
        }
        m_translationLabel->setText(sampleTranslation(m_result));
        m_translationBlock->show();
        QSize size = sizeHint();
        m_translationBlock->hide();
        m_translationLabel->clear();
        return size;
    }
    if (isEditing() || rowCount() == 0 || !m_actions.saveReading) {
        return sizeHint();
    }
    beginEditing(0);
    m_editor->ensurePolished();
    m_editorHint->ensurePolished();
    QSize size = sizeHint();
    cancelEditing();
    return size;
}

QSize PopupView::sizeHint() const {
    QLayout* l = layout();
    int natural = l->sizeHint().width();
    int w = std::clamp(natural, kMinContentWidth, kMaxContentWidth);
    int h = l->hasHeightForWidth() ? l->totalHeightForWidth(w) : l->sizeHint().height();
    return {w, h};
}

}  // namespace talvo
