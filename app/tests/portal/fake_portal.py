#!/usr/bin/python3
"""A scripted desktop portal on a private session bus: GlobalShortcuts as
KDE's portal answers it, Screenshot answering what the test scripted, the
host registry, and test methods to read what was asked, to press the bound
shortcut and to script the next screenshot.

usage: fake_portal.py READY_FILE
"""
import json
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

BUS = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
SCREENSHOT = "org.freedesktop.portal.Screenshot"
NEVER = 99  # a scripted response that is never sent (the dialog stays open)


def plain(value):
    """D-Bus values as JSON-ready Python values."""
    if isinstance(value, (dbus.Dictionary, dict)):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, (dbus.Array, dbus.Struct, list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, (dbus.String, dbus.ObjectPath)):
        return str(value)
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (int, dbus.UInt32, dbus.UInt64, dbus.Int32, dbus.Int64)):
        return int(value)
    return str(value)


class Request(dbus.service.Object):
    @dbus.service.signal("org.freedesktop.portal.Request", signature="ua{sv}")
    def Response(self, response, results):
        pass


class Session(dbus.service.Object):
    def __init__(self, conn, path, portal):
        super().__init__(conn, path)
        self.portal = portal

    @dbus.service.method("org.freedesktop.portal.Session", in_signature="", out_signature="")
    def Close(self):
        self.portal.calls.append({"method": "Close", "session": str(self._object_path)})
        self.remove_from_connection()


class Portal(dbus.service.Object):
    def __init__(self, conn):
        super().__init__(conn, PATH)
        self.conn = conn
        self.calls = []
        self.objects = []
        self.screenshot = {"available": True, "response": 0, "uri": ""}

    def request_path(self, sender, token):
        return "%s/request/%s/%s" % (PATH, sender[1:].replace(".", "_"), token)

    def answer(self, path, results, response=0):
        request = Request(self.conn, path)
        self.objects.append(request)
        # After the method has returned, as a real portal does.
        if response != NEVER:
            GLib.idle_add(lambda: request.Response(dbus.UInt32(response), results) and False)
        return dbus.ObjectPath(path)

    @dbus.service.method("org.freedesktop.DBus.Properties", in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        if interface == SHORTCUTS and name == "version":
            return dbus.UInt32(1)
        raise dbus.exceptions.DBusException("no such property",
                                            name="org.freedesktop.DBus.Error.InvalidArgs")

    @dbus.service.method("org.freedesktop.host.portal.Registry", in_signature="sa{sv}",
                         out_signature="")
    def Register(self, app_id, options):
        self.calls.append({"method": "Register", "app_id": str(app_id)})

    @dbus.service.method(SHORTCUTS, in_signature="a{sv}", out_signature="o",
                         sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        self.calls.append({"method": "CreateSession", "options": plain(options)})
        session = "%s/session/%s/%s" % (PATH, sender[1:].replace(".", "_"),
                                        options["session_handle_token"])
        self.objects.append(Session(self.conn, session, self))
        return self.answer(self.request_path(sender, options["handle_token"]),
                           {"session_handle": dbus.String(session)})

    @dbus.service.method(SHORTCUTS, in_signature="oa(sa{sv})sa{sv}", out_signature="o",
                         sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent, options, sender=None):
        self.calls.append({"method": "BindShortcuts", "session": str(session),
                           "shortcuts": plain(shortcuts), "parent": str(parent)})
        return self.answer(self.request_path(sender, options["handle_token"]),
                           {"shortcuts": shortcuts})

    @dbus.service.method(SCREENSHOT, in_signature="sa{sv}", out_signature="o",
                         sender_keyword="sender")
    def Screenshot(self, parent, options, sender=None):
        if not self.screenshot["available"]:
            raise dbus.exceptions.DBusException(
                "no such method", name="org.freedesktop.DBus.Error.UnknownMethod")
        self.calls.append({"method": "Screenshot", "parent": str(parent),
                           "options": plain(options)})
        results = {}
        if self.screenshot["response"] == 0:
            results["uri"] = dbus.String(self.screenshot["uri"])
        return self.answer(self.request_path(sender, options["handle_token"]),
                           dbus.Dictionary(results, signature="sv"),
                           self.screenshot["response"])

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Activated(self, session, shortcut_id, timestamp, options):
        pass

    # ---- for the test ----------------------------------------------------
    @dbus.service.method("io.github.mirelo.TalvoTest", in_signature="", out_signature="s")
    def Calls(self):
        return json.dumps(self.calls)

    @dbus.service.method("io.github.mirelo.TalvoTest", in_signature="bus", out_signature="")
    def ScriptScreenshot(self, available, response, uri):
        self.screenshot = {"available": bool(available), "response": int(response),
                           "uri": str(uri)}

    @dbus.service.method("io.github.mirelo.TalvoTest", in_signature="os", out_signature="")
    def Press(self, session, shortcut_id):
        self.Activated(session, shortcut_id, dbus.UInt64(1), dbus.Dictionary({}, signature="sv"))


def main():
    DBusGMainLoop(set_as_default=True)
    conn = dbus.SessionBus()
    portal = Portal(conn)
    name = dbus.service.BusName(BUS, conn)  # noqa: F841 (held for the process's life)
    with open(sys.argv[1], "w") as ready:
        ready.write("ready\n")
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
