"""A keyring that does what no real one can be made to do: it answers the calls that create items one by one as the
arguments say. It knows sessions without encryption only, keeps everything in memory and announces itself with a line on
descriptor 3. Answers, "late-" before one waits for SIGUSR1:
create; refuse; twin (makes a copy of the first item, as another program might, and refuses); prompt (a dialog that
creates); dismiss (a dialog that the person refuses); vanish (dies with its dialog up); die. What is left over are the dialogs that deletions name; those delete nothing."""

import os
import signal
import sys

from gi.repository import Gio, GLib

SERVICE = "/org/freedesktop/secrets"
INTERFACE = "org.freedesktop.Secret."
NODE = Gio.DBusNodeInfo.new_for_xml("""<node>
<interface name="org.freedesktop.Secret.Service">
 <method name="OpenSession"><arg type="s" direction="in"/><arg type="v" direction="in"/>
  <arg type="v" direction="out"/><arg type="o" direction="out"/></method>
 <method name="SearchItems"><arg type="a{ss}" direction="in"/>
  <arg type="ao" direction="out"/><arg type="ao" direction="out"/></method>
 <method name="ReadAlias"><arg type="s" direction="in"/><arg type="o" direction="out"/></method></interface>
<interface name="org.freedesktop.Secret.Collection"><property name="Locked" type="b" access="read"/>
 <method name="CreateItem"><arg type="a{sv}" direction="in"/><arg type="(oayays)" direction="in"/>
  <arg type="b" direction="in"/><arg type="o" direction="out"/><arg type="o" direction="out"/></method></interface>
<interface name="org.freedesktop.Secret.Item"><property name="Attributes" type="a{ss}" access="read"/>
 <method name="GetSecret"><arg type="o" direction="in"/><arg type="(oayays)" direction="out"/></method>
 <method name="Delete"><arg type="o" direction="out"/></method></interface>
<interface name="org.freedesktop.Secret.Prompt"><method name="Prompt"><arg type="s" direction="in"/></method></interface>
</node>""")

items = {}
answers = sys.argv[1:]
waiting = []
made = 0


def register(path, kind):
    interface = NODE.lookup_interface(INTERFACE + kind)
    bus.register_object(path, interface, call, lambda *about: value(about[2], about[4]), None)


def value(path, name):
    return GLib.Variant("b", False) if name == "Locked" else GLib.Variant("a{ss}", items[path][0])


def create(attributes, secret):
    global made
    made += 1
    path = f"/item/{made}"
    items[path] = attributes, secret
    register(path, "Item")
    return path


def create_item(invocation, answer, attributes, secret):
    name, _, rest = answer.partition("-")
    if name == "late":
        waiting.append(lambda: create_item(invocation, rest, attributes, secret))
    elif answer == "die":
        os._exit(1)
    elif answer in ("refuse", "twin"):
        if answer == "twin":
            create(*items["/item/1"])
        invocation.return_dbus_error("org.freedesktop.DBus.Error.Failed", "refused")
    elif answer == "create":
        invocation.return_value(GLib.Variant("(oo)", (create(attributes, secret), "/")))
    else:
        path = f"/prompt/{len(prompts)}"
        prompts[path] = answer, attributes, secret
        register(path, "Prompt")
        invocation.return_value(GLib.Variant("(oo)", ("/", path)))


def show(path):
    answer, attributes, secret = prompts[path]
    if answer == "vanish":
        os._exit(1)
    result = create(attributes, secret) if answer == "prompt" else "/"
    bus.emit_signal(None, path, INTERFACE + "Prompt", "Completed",
                    GLib.Variant("(bv)", (answer == "dismiss", GLib.Variant("o", result))))


def call(connection, sender, path, interface, method, arguments, invocation):
    arguments = arguments.unpack()
    if method == "OpenSession":
        if arguments[0] != "plain":
            return invocation.return_dbus_error("org.freedesktop.DBus.Error.NotSupported", arguments[0])
        result = GLib.Variant("(vo)", (GLib.Variant("s", ""), "/session"))
    elif method == "SearchItems":
        wanted = arguments[0].items()
        result = GLib.Variant("(aoao)", ([at for at in items if wanted <= items[at][0].items()], []))
    elif method == "ReadAlias":
        result = GLib.Variant("(o)", ("/collection" if arguments[0] == "default" else "/",))
    elif method == "GetSecret":
        result = GLib.Variant("((oayays))", (("/session", b"", items[path][1], "text/plain"),))
    elif method == "Delete":
        if answers:
            result = GLib.Variant("(o)", (answers.pop(0),))
        else:
            del items[path]
            result = GLib.Variant("(o)", ("/",))
    elif method == "Prompt":
        invocation.return_value(None)
        bus.flush_sync()
        return show(path)
    else:
        attributes = arguments[0]["org.freedesktop.Secret.Item.Attributes"]
        return create_item(invocation, answers.pop(0), attributes, arguments[1][2])
    invocation.return_value(result)


def serve_waiting():
    while waiting:
        waiting.pop(0)()
    return True


prompts = {}
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
register(SERVICE, "Service")
register("/collection", "Collection")
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, serve_waiting)
Gio.bus_own_name_on_connection(bus, "org.freedesktop.secrets", Gio.BusNameOwnerFlags.NONE,
                               lambda *about: os.write(3, b"\n"), None)
GLib.MainLoop().run()
