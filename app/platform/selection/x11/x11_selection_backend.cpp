#include "app/platform/selection/x11/x11_selection_backend.h"

#include <xcb/xcb.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QWindow>
#include <cstdlib>
#include <cstring>

#include "app/platform/selection/linux/terminal_process.h"
#include "app/platform/selection/x11/x11_keystroke.h"
#include "core/ui/terminal_windows.h"

namespace talvo {

namespace {

constexpr uint16_t kHeldModifiers =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
constexpr uint32_t kPointerRoot = 1;
// How far up the window tree a focus window's top level is looked for.
constexpr int kMaxTreeDepth = 16;

}  // namespace

std::unique_ptr<X11SelectionBackend> X11SelectionBackend::create() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) {
        return nullptr;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(x11->connection()));
    if (!it.rem) {
        return nullptr;
    }
    return std::unique_ptr<X11SelectionBackend>(
        new X11SelectionBackend(x11->connection(), x11->display(), it.data->root));
}

X11SelectionBackend::X11SelectionBackend(xcb_connection_t* connection, void* display, uint32_t root)
    : m_connection(connection), m_display(display), m_root(root) {
    static const char kPid[] = "_NET_WM_PID";
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, sizeof kPid - 1, kPid), nullptr);
    if (atom) {
        m_pidAtom = atom->atom;
        std::free(atom);
    }
    // The toolkit hears of every new PRIMARY owner through XFixes.
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::selectionChanged, &m_context,
                     [this] { ++m_primaryChanges; });
}

std::optional<std::string> X11SelectionBackend::primarySelection() {
    // A new lookup: window ids are reused, so nothing is known of the last one.
    m_terminalCheck.reset();
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard->supportsSelection()) {
        return std::nullopt;
    }
    // Current means taken since the previous lookup, or held by the window
    // the user is in; a selection left in another program an hour ago is
    // not what the shortcut asks about.
    const bool changed = m_primaryChanges != m_primaryChangesSeen;
    m_primaryChangesSeen = m_primaryChanges;
    if (!changed && !primaryOwnedByFocusedClient()) {
        return std::nullopt;
    }
    const QMimeData* data = clipboard->mimeData(QClipboard::Selection);
    if (!data || !data->hasText()) {
        return std::nullopt;
    }
    QString text = data->text();
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text.toStdString();
}

bool X11SelectionBackend::modifiersHeld() {
    xcb_query_pointer_reply_t* reply =
        xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
    if (!reply) {
        return false;
    }
    bool held = (reply->mask & kHeldModifiers) != 0;
    std::free(reply);
    return held;
}

bool X11SelectionBackend::focusIsTerminal() {
    const auto focus = static_cast<uint32_t>(focusedWindow());
    if (!focus) {
        return false;
    }
    // Within one lookup the reader asks, then the keystroke asks again: one
    // look at /proc is enough.
    if (m_terminalCheck && m_terminalCheck->first == focus) {
        return m_terminalCheck->second;
    }
    const bool terminal = lookIsTerminal(focus);
    m_terminalCheck = std::make_pair(focus, terminal);
    return terminal;
}

bool X11SelectionBackend::lookIsTerminal(uint32_t focus) {
    // WM_CLASS holds the instance and the class name; either may say terminal.
    const std::string names = windowClass(focus);
    std::string_view rest = names;
    for (;;) {
        const size_t end = rest.find('\0');
        if (isTerminalWindowClass(rest.substr(0, end))) {
            return true;
        }
        if (end == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(end + 1);
    }
    // Terminals the list does not know (an editor's own terminal, a new
    // emulator) still hold a pseudo-terminal master.
    return linuxproc::isTerminalProcess(windowPid(focus));
}

void X11SelectionBackend::postCopyKeystroke() {
    if (focusIsTerminal()) {
        return;
    }
    x11::postCopyKeystroke(m_display);
}

bool X11SelectionBackend::primaryOwnedByFocusedClient() {
    const auto focus = static_cast<uint32_t>(focusedWindow());
    if (!focus) {
        return false;
    }
    xcb_get_selection_owner_reply_t* reply = xcb_get_selection_owner_reply(
        m_connection, xcb_get_selection_owner(m_connection, XCB_ATOM_PRIMARY), nullptr);
    if (!reply) {
        return false;
    }
    const uint32_t owner = reply->owner;
    std::free(reply);
    if (owner == XCB_NONE) {
        return false;
    }
    // Toolkits own selections through a window of their own, not the one
    // with focus; every window of one client shares the bits outside the
    // resource-id mask.
    const uint32_t clientBits = ~xcb_get_setup(m_connection)->resource_id_mask;
    return (owner & clientBits) == (focus & clientBits);
}

uint64_t X11SelectionBackend::focusedWindow() {
    xcb_get_input_focus_reply_t* reply =
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr);
    if (!reply) {
        return 0;
    }
    uint32_t focus = reply->focus;
    std::free(reply);
    if (focus == XCB_NONE || focus == kPointerRoot || focus == m_root || isOurs(focus)) {
        return 0;
    }
    return focus;
}

void X11SelectionBackend::restoreFocus(uint64_t window) {
    if (window == 0) {
        return;
    }
    xcb_get_input_focus_reply_t* reply =
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr);
    uint32_t current = reply ? reply->focus : XCB_NONE;
    std::free(reply);
    // Only when focus fell back to nothing or stayed with us: a window
    // manager, or the user, may already have put it somewhere else.
    if (current != XCB_NONE && current != kPointerRoot && current != m_root && !isOurs(current)) {
        return;
    }
    xcb_void_cookie_t cookie = xcb_set_input_focus_checked(
        m_connection, XCB_INPUT_FOCUS_PARENT, static_cast<uint32_t>(window), XCB_CURRENT_TIME);
    // The window may have gone away meanwhile (BadWindow, BadMatch).
    std::free(xcb_request_check(m_connection, cookie));
}

std::string X11SelectionBackend::windowClass(uint32_t window) {
    std::string value = ancestorProperty(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    while (!value.empty() && value.back() == '\0') {
        value.pop_back();
    }
    return value;
}

int X11SelectionBackend::windowPid(uint32_t window) {
    if (!m_pidAtom) {
        return 0;
    }
    const std::string value = ancestorProperty(window, m_pidAtom, XCB_ATOM_CARDINAL);
    if (value.size() < sizeof(uint32_t)) {
        return 0;
    }
    uint32_t pid = 0;
    std::memcpy(&pid, value.data(), sizeof pid);
    return pid > 0 && pid < (1u << 22) ? static_cast<int>(pid) : 0;  // Linux's PID limit
}

std::string X11SelectionBackend::ancestorProperty(uint32_t window, uint32_t property,
                                                  uint32_t type) {
    for (int depth = 0; depth < kMaxTreeDepth && window != XCB_NONE && window != m_root; ++depth) {
        xcb_get_property_reply_t* prop = xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, property, type, 0, 256),
            nullptr);
        if (prop) {
            int length = xcb_get_property_value_length(prop);
            if (length > 0) {
                std::string value(static_cast<const char*>(xcb_get_property_value(prop)),
                                  static_cast<size_t>(length));
                std::free(prop);
                return value;
            }
            std::free(prop);
        }
        xcb_query_tree_reply_t* tree =
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr);
        if (!tree) {
            break;
        }
        window = tree->parent;
        std::free(tree);
    }
    return {};
}

bool X11SelectionBackend::isOurs(uint32_t window) const {
    for (QWindow* w : QGuiApplication::allWindows()) {
        if (w->handle() && w->winId() == window) {
            return true;
        }
    }
    return false;
}

}  // namespace talvo
