"""A session bus and a real keyring daemon for the end-to-end tests."""

import os
import subprocess

from surroundings import LIMIT

CONFIGURATION = """<busconfig><type>session</type><listen>unix:path={folder}/bus</listen>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""


class Keyring:
    """An open keyring in a session of its own; `environment` leads programs to it."""

    def __init__(self, folder, home):
        os.mkdir(folder, 0o700)
        with open(folder + "/bus.conf", "w") as file:
            file.write(CONFIGURATION.format(folder=folder))
        self.environment = {"XDG_RUNTIME_DIR": folder, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={folder}/bus"}
        variables = {**os.environ, **self.environment, "HOME": home, "LANG": "C.UTF-8"}
        options = {"env": variables, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        bounded = ["setpriv", "--pdeathsig", "KILL"]
        self.bus = subprocess.Popen([*bounded, "dbus-daemon", "--nofork", "--nosyslog", "--print-address",
                                     f"--config-file={folder}/bus.conf"], **{**options, "stdout": subprocess.PIPE})
        self.bus.stdout.readline()
        self.daemon = subprocess.Popen([*bounded, "gnome-keyring-daemon", "--foreground", "--components=secrets",
                                        "--unlock"], stdin=subprocess.PIPE, **options)
        self.daemon.stdin.write(b"test")
        self.daemon.stdin.close()
        subprocess.run(["gdbus", "wait", "--session", "--timeout", str(LIMIT), "org.freedesktop.secrets"], check=True,
                       timeout=LIMIT, **options)

    def close(self):
        for process in self.daemon, self.bus:
            process.kill()
            process.wait(LIMIT)
        self.bus.stdout.close()
