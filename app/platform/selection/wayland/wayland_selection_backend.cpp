#include "app/platform/selection/wayland/wayland_selection_backend.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <wayland-client.h>

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace talvo {

Q_LOGGING_CATEGORY(selectionLog, "talvo.selection", QtWarningMsg)

namespace {

// A selection read answers in a few milliseconds; an owner that hangs must
// not hang the lookup.
constexpr int kReadTimeoutMs = 500;
// More than any lookup needs; a bigger selection is cut here.
constexpr size_t kMaxBytes = 1 << 20;
// The text types a selection's owner may offer, best first.
constexpr const char* kTextTypes[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain",
                                      "TEXT", "STRING"};

struct Globals {
    wl_seat* seat = nullptr;
    zwlr_data_control_manager_v1* manager = nullptr;
};

void global(void* data, wl_registry* registry, uint32_t name, const char* interface,
            uint32_t version) {
    auto* g = static_cast<Globals*>(data);
    const std::string_view iface(interface);
    if (iface == wl_seat_interface.name && !g->seat) {
        g->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    } else if (iface == zwlr_data_control_manager_v1_interface.name && version >= 2) {
        // Version 2 is the first with PRIMARY.
        g->manager = static_cast<zwlr_data_control_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_data_control_manager_v1_interface, 2));
    }
}

void globalRemove(void*, wl_registry*, uint32_t) {}

const wl_registry_listener kRegistryListener = {global, globalRemove};

WaylandSelectionBackend* self(void* data) {
    return static_cast<WaylandSelectionBackend*>(data);
}

const zwlr_data_control_offer_v1_listener kOfferListener = {
    [](void* data, zwlr_data_control_offer_v1* offer, const char* type) {
        self(data)->offerType(offer, type);
    },
};

const zwlr_data_control_device_v1_listener kDeviceListener = {
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        self(data)->offerAdded(offer);
    },
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        self(data)->selectionChanged(offer, false);
    },
    [](void* data, zwlr_data_control_device_v1*) { self(data)->deviceFinished(); },
    [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
        self(data)->selectionChanged(offer, true);
    },
};

}  // namespace

std::unique_ptr<WaylandSelectionBackend> WaylandSelectionBackend::create() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        return nullptr;
    }
    Globals g;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kRegistryListener, &g);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    if (!g.seat || !g.manager) {
        if (g.seat) {
            wl_seat_destroy(g.seat);
        }
        if (g.manager) {
            zwlr_data_control_manager_v1_destroy(g.manager);
        }
        wl_display_disconnect(display);
        return nullptr;
    }
    std::unique_ptr<WaylandSelectionBackend> backend(
        new WaylandSelectionBackend(display, g.seat, g.manager));
    // The first PRIMARY comes at once: what was selected before we started.
    wl_display_roundtrip(display);
    backend->m_changesSeen = backend->m_changes;
    if (backend->m_broken) {
        return nullptr;
    }
    return backend;
}

WaylandSelectionBackend::WaylandSelectionBackend(wl_display* display, wl_seat* seat,
                                                 zwlr_data_control_manager_v1* manager)
    : m_display(display), m_seat(seat), m_manager(manager) {
    m_device = zwlr_data_control_manager_v1_get_data_device(m_manager, m_seat);
    zwlr_data_control_device_v1_add_listener(m_device, &kDeviceListener, this);
    // Changes arrive all day long; handled as they come, the compositor
    // never finds our connection full.
    m_notifier =
        std::make_unique<QSocketNotifier>(wl_display_get_fd(m_display), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { dispatch(); });
}

WaylandSelectionBackend::~WaylandSelectionBackend() {
    m_notifier.reset();
    for (const Offer& o : m_offers) {
        zwlr_data_control_offer_v1_destroy(o.offer);
    }
    zwlr_data_control_device_v1_destroy(m_device);
    zwlr_data_control_manager_v1_destroy(m_manager);
    wl_seat_destroy(m_seat);
    wl_display_disconnect(m_display);
}

bool WaylandSelectionBackend::dispatch() {
    if (m_broken) {
        return false;
    }
    while (wl_display_prepare_read(m_display) != 0) {
        wl_display_dispatch_pending(m_display);
    }
    wl_display_flush(m_display);
    pollfd p{wl_display_get_fd(m_display), POLLIN, 0};
    if (poll(&p, 1, 0) > 0) {
        if (wl_display_read_events(m_display) < 0) {
            m_broken = true;
        }
    } else {
        wl_display_cancel_read(m_display);
    }
    if (!m_broken && wl_display_dispatch_pending(m_display) < 0) {
        m_broken = true;
    }
    if (m_broken) {
        // The compositor went away: nothing more can be read this session.
        qCWarning(selectionLog) << "the compositor closed the selection connection";
        m_notifier->setEnabled(false);
    }
    return !m_broken;
}

void WaylandSelectionBackend::offerAdded(zwlr_data_control_offer_v1* offer) {
    m_offers.push_back({offer, {}});
    zwlr_data_control_offer_v1_add_listener(offer, &kOfferListener, this);
}

void WaylandSelectionBackend::offerType(zwlr_data_control_offer_v1* offer, const char* type) {
    for (Offer& o : m_offers) {
        if (o.offer == offer) {
            o.types.emplace_back(type);
        }
    }
}

void WaylandSelectionBackend::forget(zwlr_data_control_offer_v1* offer) {
    if (!offer || offer == m_primary || offer == m_clipboard) {
        return;  // still one of the two selections
    }
    auto it = std::find_if(m_offers.begin(), m_offers.end(),
                           [offer](const Offer& o) { return o.offer == offer; });
    if (it != m_offers.end()) {
        zwlr_data_control_offer_v1_destroy(offer);
        m_offers.erase(it);
    }
}

void WaylandSelectionBackend::selectionChanged(zwlr_data_control_offer_v1* offer, bool primary) {
    zwlr_data_control_offer_v1*& slot = primary ? m_primary : m_clipboard;
    zwlr_data_control_offer_v1* previous = slot;
    slot = offer;
    forget(previous);
    if (primary) {
        ++m_changes;
    }
}

std::optional<std::string> WaylandSelectionBackend::primarySelection() {
    // Whatever the compositor said since the last event loop turn.
    if (!dispatch()) {
        return std::nullopt;
    }
    wl_display_roundtrip(m_display);
    const bool changed = m_changes > m_changesSeen;
    qCDebug(selectionLog) << "PRIMARY changes" << m_changes << "seen" << m_changesSeen;
    m_changesSeen = m_changes;
    if (!changed || !m_primary) {
        return std::nullopt;
    }
    for (const Offer& o : m_offers) {
        if (o.offer == m_primary) {
            return read(o);
        }
    }
    return std::nullopt;
}

std::optional<std::string> WaylandSelectionBackend::read(const Offer& offer) {
    const char* type = nullptr;
    for (const char* wanted : kTextTypes) {
        if (!type &&
            std::find(offer.types.begin(), offer.types.end(), wanted) != offer.types.end()) {
            type = wanted;
        }
    }
    if (!type) {
        return std::nullopt;  // an image or a file, no text
    }
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    zwlr_data_control_offer_v1_receive(offer.offer, type, fds[1]);
    wl_display_flush(m_display);
    close(fds[1]);
    std::string text;
    QElapsedTimer waited;
    waited.start();
    char buf[4096];
    bool complete = false;
    while (waited.elapsed() < kReadTimeoutMs && text.size() < kMaxBytes) {
        pollfd p{fds[0], POLLIN, 0};
        int ready = poll(&p, 1, static_cast<int>(kReadTimeoutMs - waited.elapsed()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            break;
        }
        ssize_t n = ::read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            complete = n == 0;
            break;
        }
        text.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (!complete && text.size() < kMaxBytes) {
        qCDebug(selectionLog) << "the selection's owner did not answer in time";
        return std::nullopt;
    }
    if (text.size() > kMaxBytes) {
        // Never in the middle of a character.
        size_t end = kMaxBytes;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end;
        }
        text.resize(end);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> FocusedSelectionBackend::primarySelection() {
    const QString text = QGuiApplication::clipboard()->text(QClipboard::Selection);
    qCDebug(selectionLog) << "PRIMARY as the focused client:" << text.size() << "characters";
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text.toStdString();
}

}  // namespace talvo
