#pragma once

#include <QObject>
#include <memory>
#include <string>
#include <vector>

#include "core/lookup/lookup_result.h"

namespace talvo {

class AppStores;
class DeckEvents;
class EventPump;
class Localization;
class PopupController;
class SelectionReader;
class StrokeOrderFactory;
struct OnlineHooks;
struct PlatformBackends;
struct Tr;

// The road of one lookup: shortcut → trust check → selection read → what the
// text asks for → popup, and what the popup offers back (saving a corrected
// reading, the AI translation, adding the lookup to study). Owns the popup
// and the selection reader; borrows the stores, the platform backends, the
// online hooks and the rest, which must outlive it. Without a lookup service
// (no dictionary) every entry point does nothing. Main thread only.
class LookupRoad : public QObject {
    Q_OBJECT
  public:
    // `pump` turns the event loop while the capture waits (null: the real
    // one). `strokes` may be null: no stroke-order view in the popup.
    LookupRoad(AppStores& stores, PlatformBackends& platform, const OnlineHooks& online,
               Localization& l10n, DeckEvents& deck, std::unique_ptr<EventPump> pump,
               const StrokeOrderFactory* strokes, QObject* parent = nullptr);
    ~LookupRoad() override;

    // The shortcut fired: read the selection and show what it asks for. A
    // press that arrives while the capture turns the event loop is dropped.
    void handleHotkey();
    // `breaks`: where the selection keeps words apart (HanTextParser::wordBreaks).
    void showLookup(const std::vector<std::string>& chars, const std::vector<size_t>& breaks = {});
    void handleReverse(const std::vector<std::string>& syllables);
    // Makes a card of the lookup, announces CardsAdded and starts a sync.
    void addLookupToStudy(const PhraseLookup& result);
    // A message card in the popup.
    void showMessage(const Tr& text);

    // Whether there is a dictionary to look anything up in.
    bool canLookUp() const;
    // Whether a press is being handled (the capture turns the event loop).
    bool isHandling() const { return m_handling; }

    PopupController& popup() { return *m_popup; }
    // The characters of the last forward lookup (a saved reading shows them
    // again); reverse lookups and messages leave them.
    const std::vector<std::string>& lastChars() const { return m_lastChars; }

  private:
    // Shows the panel with a busy line and waits until it holds keyboard
    // focus, for a selection readable only then. False: the lookup ends here
    // (the panel was closed, or it says why).
    bool focusPanelForReading();

    AppStores& m_stores;
    PlatformBackends& m_platform;
    const OnlineHooks& m_online;
    Localization& m_l10n;
    DeckEvents& m_deck;
    std::unique_ptr<EventPump> m_pump;
    std::unique_ptr<SelectionReader> m_reader;
    std::unique_ptr<PopupController> m_popup;
    std::vector<std::string> m_lastChars;
    std::vector<size_t> m_lastBreaks;
    bool m_handling = false;
};

}  // namespace talvo
