#pragma once

#include <QObject>

namespace talvo {

// What moved the study deck. A subscriber that already shows the change
// (the study session after its own grade) or that does not show it at all
// looks at this to leave itself alone.
enum class DeckChange {
    Graded,        // a card was graded in the study window
    QuizFinished,  // a quiz ended and its badges were awarded
    CardsAdded,    // a lesson or a looked-up word added cards
    Synced,        // a sync exchange succeeded
};

// The one place that says "the deck changed": the study windows, the lookup
// road and the sync completion emit deckChanged; the status menu's badge, the
// study window and the profile follow it. Created by the composition root
// before anything that emits or listens; main thread only, connections are
// direct, so every subscriber has caught up when emit returns.
class DeckEvents : public QObject {
    Q_OBJECT
  public:
    using QObject::QObject;

  signals:
    void deckChanged(talvo::DeckChange change);
};

}  // namespace talvo
