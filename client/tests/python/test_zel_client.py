# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
"""The Python layer over the stand-in tool: what it hands to the C library and what it makes of the answers.
The protocol itself is proven by the C library's own tests."""
import os
import select
import sys
import tempfile
import unittest

import zel_client


class ClientTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.root = self.dir.name
        for sub in ("etc/zel", "etc/device", "var/lib/zel-exec"):
            os.makedirs(os.path.join(self.root, sub))
        self.client = zel_client.Client(command=[os.environ["ZEL_STAND_IN"], self.root], root=self.root)

    def tearDown(self):
        self.client.close()
        self.dir.cleanup()

    def play(self, text):
        self.write("play", text)

    def write(self, name, text):
        with open(os.path.join(self.root, name), "w") as file:
            file.write(text)

    def shown(self, name):
        try:
            with open(os.path.join(self.root, name)) as file:
                return file.read()
        except FileNotFoundError:
            return None

    def test_outcome_fields(self):
        self.play("202 exit 74 zel_exec: command[2] id=202 execution: write: Invalid argument\\nmore\\n\n"
                  "201 print on\\n\n")
        outcome = self.client.run([(201, 1), (202, 3)], timeout=5.0)
        self.assertEqual(outcome, zel_client.Outcome(
            kind=zel_client.Kind.FAILED, group=2, command=202, status=74, signal=None,
            reason=zel_client.Reason.NONE, message="zel_exec: command[2] id=202 execution: write: Invalid argument",
            stdout="on\n", stderr="zel_exec: command[2] id=202 execution: write: Invalid argument\nmore\n",
            serialised=False))
        self.play("201 die 9\n")
        outcome = self.client.run([(201, 1)])
        self.assertEqual((outcome.kind, outcome.status, outcome.signal), (zel_client.Kind.KILLED, None, 9))

    def test_refuses_a_batch_before_anything_runs(self):
        for groups, error in (([(201, True)], TypeError), ([(201, 1.0)], TypeError), ([(True, 1)], TypeError),
                              ([(201, 2)], ValueError), ([(201,)], ValueError), ([(201, 1)] * 65, ValueError),
                              ([], ValueError)):
            with self.subTest(groups=groups[:2]), self.assertRaises(error):
                self.client.run(groups)
        self.assertIsNone(self.shown("calls"))

    def test_reads_settings_and_power(self):
        self.write("etc/device/black.config", "BRIGHTNESS=200\n")
        self.assertEqual(self.client.read_setting("black"), 200)
        self.assertIsNone(self.client.read_setting("fanMode"))
        with self.assertRaises(ValueError):
            self.client.read_setting("fanmode")
        self.play("502 print 7: op dh | hi\\n21: op dl | lo\\n\n")
        self.assertEqual(self.client.read_power(), (True, False))
        self.play("502 fail\n")
        with self.assertRaises(zel_client.CallError) as failed:
            self.client.read_power()
        self.assertEqual(failed.exception.outcome.kind, zel_client.Kind.FAILED)

    def test_submitters_and_calls_for_event_loops(self):
        self.play("302 pulse 30\n402 pulse 300\n")
        with self.client.latest(302) as slider:
            for value in range(0, 256, 15):
                self.assertTrue(slider.submit(value * 1000, value))
            self.assertEqual(slider.wait().kind, zel_client.Kind.OK)
        self.assertTrue(self.shown("calls").endswith("302 255000 255\n"))
        with self.client.dropping(402) as button:
            self.assertEqual((button.submit(300), button.submit(300)), (True, False))
        call = self.client.start([(402, 300)], timeout=0.1)
        self.assertEqual(select.select([call], [], [], 2.0)[0], [call])
        self.assertEqual(call.finish().kind, zel_client.Kind.TIMED_OUT)

    def test_the_settings_screen_example(self):
        """The example in client/examples runs as its README says, with no protocol code of its own."""
        sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "examples"))
        import settings_screen
        self.play("402 pulse 200\n502 print 7: op dh | hi\\n21: op dh | hi\\n\n")
        screen = settings_screen.SettingsScreen(self.client)
        self.assertEqual(screen.refresh(), {"fanMode": None, "fanLevel": None, "black": None})
        self.assertTrue(screen.set_fan(1, 4))
        for brightness in range(0, 256, 51):
            screen.drag_brightness(brightness)
        screen.press()
        screen.press()
        self.assertTrue(screen.set_power(True))
        self.assertEqual(screen.power(), (True, True))
        screen.close()
        calls = self.shown("calls").splitlines()
        self.assertEqual([call for call in calls if call.startswith("302")][-1], "302 255000 255")
        # The slider's calls run beside the screen's own, in any order between them.
        self.assertEqual([call for call in calls if call.startswith("5")], ["501 1", "502"])
        self.assertEqual(self.shown("ran").count("402 on"), 1)
        self.play("201 fail\n")
        self.assertFalse(screen.set_fan(0, 0))
        self.assertEqual(screen.status, "FAILED: zel_exec: command[1] id=201 execution: write: Invalid argument")


if __name__ == "__main__":
    unittest.main()
