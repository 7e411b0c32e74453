#!/usr/bin/env python3
"""A stand-in for the desktop on a private session bus: a notification server that records every call, as JSON
lines in LOG, and with --portal the global-shortcuts portal too. Interface org.pilvanor.Essai lets the test act
as the user: Invoke(key) chooses an action of the last notification, Activate() presses the bound shortcut."""
import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NOTIF = "org.freedesktop.Notifications"
PORTAL = "org.freedesktop.portal.Desktop"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
ESSAI = "org.pilvanor.Essai"
ROOT = "/org/freedesktop/portal/desktop"

log = open(sys.argv[1], "a", buffering=1)


def record(**fields):
    log.write(json.dumps(fields) + "\n")


def plain(value):
    if isinstance(value, (dbus.Array, list)):
        return [plain(v) for v in value]
    if isinstance(value, (dbus.Dictionary, dict)):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, (dbus.Struct, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, (dbus.Byte, dbus.UInt32, dbus.Int32, dbus.UInt64, dbus.Boolean)):
        return int(value)
    return str(value)


class Notifications(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(bus, "/org/freedesktop/Notifications")
        self.last = 0
        self.count = 0

    @dbus.service.method(NOTIF, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, app, replaces, icon, summary, body, actions, hints, timeout):
        if not replaces:
            self.count += 1
        self.last = int(replaces) or self.count
        record(call="Notify", id=self.last, app=plain(app), replaces=int(replaces), icon=plain(icon),
               summary=plain(summary), body=plain(body), actions=plain(actions), hints=plain(hints))
        return self.last

    @dbus.service.method(NOTIF, in_signature="u")
    def CloseNotification(self, id):
        record(call="CloseNotification", id=int(id))
        self.NotificationClosed(id, 3)

    @dbus.service.method(NOTIF, out_signature="as")
    def GetCapabilities(self):
        return ["actions", "body"]

    @dbus.service.method(NOTIF, out_signature="ssss")
    def GetServerInformation(self):
        return ("essai", "pilvanor", "1", "1.2")

    @dbus.service.signal(NOTIF, signature="uu")
    def NotificationClosed(self, id, reason):
        pass

    @dbus.service.signal(NOTIF, signature="us")
    def ActionInvoked(self, id, key):
        pass

    @dbus.service.method(ESSAI, in_signature="s")
    def Invoke(self, key):
        self.ActionInvoked(self.last, key)
        self.NotificationClosed(self.last, 2)


class Request(dbus.service.Object):
    @dbus.service.signal("org.freedesktop.portal.Request", signature="ua{sv}")
    def Response(self, code, results):
        pass


class Session(dbus.service.Object):
    @dbus.service.method("org.freedesktop.portal.Session")
    def Close(self):
        record(call="Close", session=self.__dbus_object_path__)
        self.remove_from_connection()


class Portal(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(bus, ROOT)
        self.bus = bus
        self.session = None

    def answer(self, sender, token, results):
        path = "%s/request/%s/%s" % (ROOT, sender[1:].replace(".", "_"), token)
        request = Request(self.bus, path)
        GLib.idle_add(lambda: request.Response(0, results) and False)
        return dbus.ObjectPath(path)

    @dbus.service.method("org.freedesktop.DBus.Properties", in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        if interface == SHORTCUTS and name == "version":
            return dbus.UInt32(1)
        raise dbus.exceptions.DBusException("no such property", name="org.freedesktop.DBus.Error.InvalidArgs")

    @dbus.service.method(SHORTCUTS, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender):
        session = "%s/session/%s/%s" % (ROOT, sender[1:].replace(".", "_"), options["session_handle_token"])
        Session(self.bus, session)
        self.session = session
        record(call="CreateSession", options=plain(options))
        return self.answer(sender, options["handle_token"], {"session_handle": dbus.String(session)})

    @dbus.service.method(SHORTCUTS, in_signature="oa(sa{sv})sa{sv}", out_signature="o", sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent, options, sender):
        record(call="BindShortcuts", session=plain(session), shortcuts=plain(shortcuts))
        return self.answer(sender, "bind%d" % len(plain(shortcuts)), {"shortcuts": shortcuts})

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Activated(self, session, id, timestamp, options):
        pass

    @dbus.service.method(ESSAI)
    def Activate(self):
        self.Activated(dbus.ObjectPath(self.session), "afficher", dbus.UInt64(0), dbus.Dictionary({}, signature="sv"))


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
keep = [Notifications(bus), dbus.service.BusName(NOTIF, bus)]
if "--portal" in sys.argv:
    keep += [Portal(bus), dbus.service.BusName(PORTAL, bus)]
record(call="ready")
GLib.MainLoop().run()
