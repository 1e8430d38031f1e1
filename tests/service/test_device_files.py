#!/usr/bin/env python3
# Copyright (C) 2026 The plim-modem developers
"""The device integration beside the binary: the init script and the VINTF fragment must agree
with each other and with Android.bp, or the device either never starts an instance or refuses
to register its service."""

import re
import sys
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
RC = ROOT / "service" / "plim-modem.rc"
MANIFEST = ROOT / "service" / "plim-modem.xml"
BLUEPRINT = ROOT / "Android.bp"


def rc_services():
    """(name, command) of each service in the init script."""
    services = re.findall(r"^service\s+(\S+)\s+(.+)$", RC.read_text(), re.MULTILINE)
    return [(name, command.split()) for name, command in services]


class DeviceFilesTest(unittest.TestCase):
    def test_manifest_whenParsed_declaresBothInstancesAtVersion1(self):
        root = ElementTree.parse(MANIFEST).getroot()  # raises on malformed XML
        self.assertEqual(("manifest", "device"), (root.tag, root.get("type")))
        hals = root.findall("hal")
        self.assertEqual(1, len(hals), "one HAL entry expected")
        hal = hals[0]
        self.assertEqual("aidl", hal.get("format"))
        self.assertEqual("vendor.vyr.plim.modem", hal.findtext("name"))
        self.assertEqual("1", hal.findtext("version"), "the frozen interface is version 1")
        self.assertEqual(["IModem/instance0", "IModem/instance1"],
                         [f.text for f in hal.findall("fqname")])

    def test_rc_whenParsed_startsOneDaemonPerDeclaredInstance(self):
        services = rc_services()
        self.assertEqual(2, len(services), f"one service per instance expected: {services}")
        ids = []
        for name, command in services:
            self.assertEqual("/vendor/bin/plim-modem", command[0], f"{name} runs another binary")
            self.assertEqual("-i", command[1], f"{name} does not pass its instance id")
            ids.append(command[2])
        self.assertEqual(len(set(n for n, _ in services)), len(services), "duplicate names")
        declared = [f.text.removeprefix("IModem/instance")
                    for f in ElementTree.parse(MANIFEST).getroot().iter("fqname")]
        self.assertEqual(declared, ids, "the manifest and the init script name other instances")

    def test_blueprint_whenBinaryBuilt_installsBothFiles(self):
        text = BLUEPRINT.read_text()
        binary = re.search(r'cc_binary \{\s*name: "plim-modem",(.*?)\n\}', text, re.DOTALL)
        self.assertIsNotNone(binary, "no plim-modem cc_binary in Android.bp")
        self.assertIn('init_rc: ["service/plim-modem.rc"]', binary.group(1))
        self.assertIn('vintf_fragments: ["service/plim-modem.xml"]', binary.group(1))


if __name__ == "__main__":
    sys.exit(unittest.main())
