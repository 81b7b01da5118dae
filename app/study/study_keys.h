#pragma once

#include <Qt>
#include <QtGlobal>

#include "core/study/study_session.h"

class QKeyEvent;

namespace talvo {

// Which of the session's keys a Qt key press is, by the key's position where
// the platform reports one (the digit row reads as 1 to 4 on AZERTY too, where
// it types "&é\"'"), else by the key Qt decoded. Digits and Enter of the
// keypad count as the digit row and Return; they are recognised by what they
// type, so with Num Lock off they are arrows again.
//
// nativeScanCode is the XKB keycode on X11 and Wayland, the set-1 scan code
// on Windows; nativeVirtualKey the kVK code on macOS. 0 (synthetic events, the
// offscreen platform) means "unknown" and falls back to the decoded key.
StudyKey studyKeyFromQt(int qtKey, Qt::KeyboardModifiers modifiers, quint32 nativeScanCode,
                        quint32 nativeVirtualKey);
StudyKey studyKeyFromEvent(const QKeyEvent& event);

// Qt's modifier names in the model's Apple vocabulary. Qt swaps two of them
// on macOS: there ControlModifier is the Command key and MetaModifier the
// Control key. Elsewhere ControlModifier is Ctrl and MetaModifier the
// Super/Windows key, which stands in for Command. Alt is Option everywhere.
KeyModifiers studyModifiersFromQt(Qt::KeyboardModifiers modifiers);

}  // namespace talvo
