#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/lookup/lookup_result.h"
#include "core/wire/translate_records.h"

class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;
class QVBoxLayout;

namespace talvo {

class Localization;

// What the lookup popup's controls do; empty members are absent controls.
struct PopupActions {
    using TranslateDone = std::function<void(wire::TranslateResult)>;

    // (character, readings text "a, b"); a blank text restores the dictionary's.
    std::function<void(const std::string& ch, const std::string& text)> saveReading;
    std::function<void(const std::string& text, TranslateDone done)> translate;
    std::function<void()> addToStudy;
    // The lookup is in the deck already: the button shows it as added.
    bool inStudy = false;
    std::function<void(const QString& text)> copy;
    // Empty: no close button (the panel around the view has its own).
    std::function<void()> close;
    // The stroke-order view of one character, shown beside a one-character
    // lookup when set.
    std::function<QWidget*(const std::string& ch, QWidget* parent)> strokeOrder;
};

// The content of the lookup popup: the phrase and its readings line with
// copy, translate and add-to-study buttons; one row per character (glyph,
// readings with the preferred one first, gloss, and an inline reading
// editor); the full entry of a one-character lookup; the translation block.
// A result without characters is a message card: its text and a close button.
class PopupView : public QWidget {
    Q_OBJECT
  public:
    // More rows than this would take seconds to build and nobody reads them
    // in a popup; "Copy all" still has every character.
    static constexpr int kMaxRows = 300;

    // The states the panel is sized for, largest over all.
    enum class Variant { Plain, Translated, Editing };

    PopupView(const PhraseLookup& result, PopupActions actions, Localization& l10n,
              QWidget* parent = nullptr);
    ~PopupView() override;

    QSize sizeHint() const override;
    // The size the content wants in one of its states; the view is put back
    // in the state it was in.
    QSize sizeHintFor(Variant variant);

    bool isMessage() const { return m_result.chars.empty(); }
    int rowCount() const { return static_cast<int>(m_rows.size()); }
    // The word rows that lead a phrase of several characters (none when no
    // word is longer than one character).
    int wordRowCount() const { return static_cast<int>(m_wordRows.size()); }
    // Shows or hides a word's characters under it (a click or Enter on the word).
    void toggleWordCharacters(int word);
    bool showsWordCharacters(int word) const;

    // Translation: shows "Translating…" and asks; the answer replaces it.
    void requestTranslation();
    void showTranslation(const wire::TranslateResult& result);
    QString translationText() const;
    bool isTranslating() const { return m_translating; }

    // The reading editor of one row: Return saves, Escape closes the editor
    // only (the panel stays).
    void beginEditing(int row);
    void cancelEditing();
    bool isEditing() const { return m_editingRow.has_value(); }
    QLineEdit* editor() const { return m_editor; }

    void addToStudy();

    // Copy actions: the characters, the readings line (by words when the
    // phrase has them), everything.
    void copyCharacters();
    void copyReadings();
    void copyAll();

  private:
    struct Row {
        QWidget* widget = nullptr;
        QVBoxLayout* textColumn = nullptr;
    };

    QToolButton* closeButton();
    void buildMessage();
    void buildLookup();
    QWidget* buildRow(const CharReading& c, int index);
    QWidget* buildWordRow(const WordReading& w, int index);
    QString wordCharacters(const WordReading& w) const;
    std::string readingsLine() const;
    QPushButton* button(const QString& text, const char* name);
    void flashCopied();
    void saveEditing();

    PhraseLookup m_result;
    PopupActions m_actions;
    Localization& m_l10n;
    std::vector<Row> m_rows;
    std::vector<QLabel*> m_wordRows;  // each word's characters, hidden until asked for
    QVBoxLayout* m_outer = nullptr;
    QWidget* m_body = nullptr;
    QFrame* m_translationBlock = nullptr;
    QLabel* m_translationLabel = nullptr;
    QPushButton* m_translateButton = nullptr;
    QPushButton* m_studyButton = nullptr;
    QLabel* m_status = nullptr;
    QLineEdit* m_editor = nullptr;
    QLabel* m_editorHint = nullptr;
    std::optional<int> m_editingRow;
    bool m_translating = false;
    // Shared with pending callbacks, which may outlive the view.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace talvo
