#include "app/platform/hotkey/gnome/gnome_keybinding.h"

#include <gio/gio.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace talvo {

namespace {

constexpr const char* kListSchema = "org.gnome.settings-daemon.plugins.media-keys";
constexpr const char* kEntrySchema =
    "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
constexpr const char* kListKey = "custom-keybindings";

struct Unref {
    void operator()(GSettings* s) const { g_object_unref(s); }
};
using Settings = std::unique_ptr<GSettings, Unref>;

bool schemaExists(const char* id) {
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    if (!source) {
        return false;
    }
    GSettingsSchema* schema = g_settings_schema_source_lookup(source, id, TRUE);
    if (!schema) {
        return false;
    }
    g_settings_schema_unref(schema);
    return true;
}

// Absent schemas make GSettings abort the program: create() looks first.
Settings list() {
    return Settings(g_settings_new(kListSchema));
}

Settings entry(const char* path) {
    return Settings(g_settings_new_with_path(kEntrySchema, path));
}

std::vector<std::string> paths(GSettings* settings) {
    std::vector<std::string> out;
    gchar** values = g_settings_get_strv(settings, kListKey);
    for (gchar** v = values; v && *v; ++v) {
        out.emplace_back(*v);
    }
    g_strfreev(values);
    return out;
}

bool setPaths(GSettings* settings, const std::vector<std::string>& values) {
    std::vector<const gchar*> raw;
    for (const std::string& v : values) {
        raw.push_back(v.c_str());
    }
    raw.push_back(nullptr);
    return g_settings_set_strv(settings, kListKey, raw.data());
}

}  // namespace

std::unique_ptr<GnomeKeybinding> GnomeKeybinding::create(HotkeyAction action) {
    if (!schemaExists(kListSchema) || !schemaExists(kEntrySchema)) {
        return nullptr;
    }
    if (action == HotkeyAction::ScreenText) {
        return std::unique_ptr<GnomeKeybinding>(
            new GnomeKeybinding(kScreenTextPath, "Talvo: text on screen"));
    }
    return std::unique_ptr<GnomeKeybinding>(new GnomeKeybinding(kPath, "Talvo"));
}

bool GnomeKeybinding::installed() {
    Settings settings = list();
    for (const std::string& p : paths(settings.get())) {
        if (p == m_path) {
            return true;
        }
    }
    return false;
}

std::string GnomeKeybinding::binding() {
    if (!installed()) {
        return {};
    }
    Settings ours = entry(m_path);
    gchar* value = g_settings_get_string(ours.get(), "binding");
    std::string out = value ? value : "";
    g_free(value);
    return out;
}

bool GnomeKeybinding::install(const std::string& command, const std::string& accelerator) {
    Settings settings = list();
    Settings ours = entry(m_path);
    // False where the key is locked down by the administrator.
    bool ok = g_settings_set_string(ours.get(), "name", m_name) &&
              g_settings_set_string(ours.get(), "command", command.c_str()) &&
              g_settings_set_string(ours.get(), "binding", accelerator.c_str());
    std::vector<std::string> values = paths(settings.get());
    if (ok && std::find(values.begin(), values.end(), m_path) == values.end()) {
        values.emplace_back(m_path);
        ok = setPaths(settings.get(), values);
    }
    g_settings_sync();
    return ok;
}

bool GnomeKeybinding::remove() {
    Settings settings = list();
    Settings ours = entry(m_path);
    std::vector<std::string> values = paths(settings.get());
    std::erase(values, std::string(m_path));
    const bool ok = setPaths(settings.get(), values);
    for (const char* key : {"name", "command", "binding"}) {
        g_settings_reset(ours.get(), key);
    }
    g_settings_sync();
    return ok;
}

}  // namespace talvo
