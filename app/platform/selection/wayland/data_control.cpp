#include "app/platform/selection/wayland/data_control.h"

#include <wayland-client.h>

#include <algorithm>

namespace talvo::wayland {

namespace {

struct Listing {
    std::vector<std::string> names;
    uint32_t wlrDataControlVersion = 0;
};

void global(void* data, wl_registry*, uint32_t, const char* interface, uint32_t version) {
    auto* listing = static_cast<Listing*>(data);
    listing->names.emplace_back(interface);
    if (std::string_view(interface) == "zwlr_data_control_manager_v1") {
        listing->wlrDataControlVersion = version;
    }
}

void globalRemove(void*, wl_registry*, uint32_t) {}

const wl_registry_listener kListener = {global, globalRemove};

}  // namespace

std::vector<std::string> compositorGlobals() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        return {};
    }
    Listing listing;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kListener, &listing);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    // Version 1 of the wlroots protocol has no PRIMARY: name it apart.
    if (listing.wlrDataControlVersion == 1) {
        std::replace(listing.names.begin(), listing.names.end(),
                     std::string("zwlr_data_control_manager_v1"),
                     std::string("zwlr_data_control_manager_v1@1"));
    }
    return listing.names;
}

bool offersDataControl(const std::vector<std::string>& globals) {
    return std::any_of(globals.begin(), globals.end(), [](const std::string& g) {
        return g == "ext_data_control_manager_v1" || g == "zwlr_data_control_manager_v1";
    });
}

}  // namespace talvo::wayland
