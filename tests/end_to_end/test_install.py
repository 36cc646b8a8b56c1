"""The installed tree is complete by itself, wherever it is put."""

import os
import re
import subprocess

from surroundings import LIMIT, EndToEndTest


class Install(EndToEndTest):
    def testInstalledTreeServesATunnel(self):
        prefix = self.path("any where")
        subprocess.run(["cmake", "--install", os.environ["QUELTO_BUILD"], "--prefix", prefix], check=True,
                       timeout=LIMIT, stdout=subprocess.DEVNULL)
        tool = prefix + "/bin/queltoSSH"
        self.assertTrue(os.path.islink(tool))
        # A name that is not ASCII is compared by a module; a text comes from a table.
        self.writeList("B\u00DCCHER\t7\n")
        result = self.runTool("alice@bu\u0308cher", program=tool)
        self.assertEqual(result.record["arguments"][:4], ["-l", "alice", "-p", "7"])
        german = self.runTool("host", program=tool, change={"AUTH_KEYCHAIN": None, "AUTH_LANGUAGE": "de"})
        self.assertEqual(german.stderr.decode(), "queltoSSH(E01): Ung\u00FCltige Umgebung.\n")
        contents = prefix + "/lib/quelto/Contents"
        for name in ("Info.plist", "Resources/quelto-dialog", "Resources/prompt@2x.png", "Resources/warning.png"):
            self.assertTrue(os.path.exists(f"{contents}/{name}"), name)
        for page in ("queltoSSH.1", "quelto-collector.1"):
            self.assertTrue(os.path.exists(prefix + "/share/man/man1/" + page))
        with open(prefix + "/lib/systemd/user/quelto-collector.service") as unit:
            [collector] = re.findall('^ExecStart="(.*)"$', unit.read(), re.MULTILINE)
        self.assertEqual(self.runTool("--version", program=collector).status, 0)
        # The title of the banner comes in the system's language, not in the one asked for.
        for language in ("de", "fr"):
            self.write(f"{contents}/Resources/{language}.lproj/consts.strings",
                       f'"ssh_name" = "title in {language}";')
        for system, title in (("de_AT.UTF-8", b"title in de"), ("nl_NL.UTF-8", b"queltoSSH")):
            banner = self.runTool(program=tool, change={"LANG": system, "AUTH_LANGUAGE": "fr"}).stdout
            self.assertTrue(banner.startswith(title + b", 2.4.3."), banner)
