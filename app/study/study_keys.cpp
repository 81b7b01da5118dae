#include "app/study/study_keys.h"

#include <QKeyEvent>

namespace talvo {

namespace {

StudyKey fromDecodedKey(int qtKey) {
    switch (qtKey) {
        case Qt::Key_1:
            return StudyKey::Digit1;
        case Qt::Key_2:
            return StudyKey::Digit2;
        case Qt::Key_3:
            return StudyKey::Digit3;
        case Qt::Key_4:
            return StudyKey::Digit4;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return StudyKey::Return;
        case Qt::Key_Space:
            return StudyKey::Space;
        default:
            return StudyKey::Other;
    }
}

#if !defined(Q_OS_MACOS)
// Main-block positions: Linux evdev codes (KEY_1 = 2 ... KEY_SPACE = 57) are
// the Windows set-1 scan codes; XKB adds 8 to them.
StudyKey fromScanCode(quint32 code) {
    switch (code) {
        case 2:
            return StudyKey::Digit1;
        case 3:
            return StudyKey::Digit2;
        case 4:
            return StudyKey::Digit3;
        case 5:
            return StudyKey::Digit4;
        case 28:
            return StudyKey::Return;
        case 57:
            return StudyKey::Space;
        default:
            return StudyKey::Other;
    }
}
#endif

}  // namespace

StudyKey studyKeyFromQt(int qtKey, Qt::KeyboardModifiers modifiers, quint32 nativeScanCode,
                        quint32 nativeVirtualKey) {
    if (modifiers.testFlag(Qt::KeypadModifier)) {
        StudyKey k = fromDecodedKey(qtKey);
        return k == StudyKey::Space ? StudyKey::Other : k;
    }
#if defined(Q_OS_MACOS)
    Q_UNUSED(nativeScanCode);
    if (nativeVirtualKey != 0) {
        return studyKeyFromMacKeyCode(static_cast<uint16_t>(nativeVirtualKey));
    }
#else
    Q_UNUSED(nativeVirtualKey);
    if (nativeScanCode != 0) {
#if defined(Q_OS_WIN)
        // Bit 8 marks the extended keys (arrows, the keypad's Enter...).
        return nativeScanCode > 0xFF ? StudyKey::Other : fromScanCode(nativeScanCode);
#else
        return nativeScanCode > 8 ? fromScanCode(nativeScanCode - 8) : StudyKey::Other;
#endif
    }
#endif
    return fromDecodedKey(qtKey);
}

StudyKey studyKeyFromEvent(const QKeyEvent& event) {
    return studyKeyFromQt(event.key(), event.modifiers(), event.nativeScanCode(),
                          event.nativeVirtualKey());
}

KeyModifiers studyModifiersFromQt(Qt::KeyboardModifiers modifiers) {
    KeyModifiers m;
#if defined(Q_OS_MACOS)
    m.command = modifiers.testFlag(Qt::ControlModifier);
    m.control = modifiers.testFlag(Qt::MetaModifier);
#else
    m.command = modifiers.testFlag(Qt::MetaModifier);
    m.control = modifiers.testFlag(Qt::ControlModifier);
#endif
    m.option = modifiers.testFlag(Qt::AltModifier);
    m.shift = modifiers.testFlag(Qt::ShiftModifier);
    return m;
}

}  // namespace talvo
