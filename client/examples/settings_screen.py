# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
"""A board's settings screen on the client: fan mode and level, a brightness slider, a haptic button
and the device's power. Everything here is the screen's own; the calling protocol is the client's."""
import zel_client


class SettingsScreen:
    def __init__(self, client=None):
        self.client = client or zel_client.Client()
        self.brightness = self.client.latest(302)   # a drag sends its last position, never a backlog
        self.haptic = self.client.dropping(402)     # a press during the pulse starts no second one
        self.status = ""

    def show(self, outcome):
        """What the screen says after a call; a refusal names its group and the tool's line."""
        self.status = "" if outcome.kind is zel_client.Kind.OK else f"{outcome.kind.name}: {outcome.message}"
        return outcome.kind is zel_client.Kind.OK

    def refresh(self):
        """The values the fan controls show: None where the board holds none yet."""
        return {name: self.client.read_setting(name) for name in ("fanMode", "fanLevel", "black")}

    def set_fan(self, mode, level):
        return self.show(self.client.run([(201, mode), (202, level)], timeout=5.0))

    def drag_brightness(self, brightness):
        self.brightness.submit(brightness * 1000, brightness)

    def press(self):
        self.haptic.submit(20)

    def set_power(self, on):
        return self.show(self.client.run([(501, int(on))], timeout=12.0))

    def power(self):
        return self.client.read_power()

    def close(self):
        self.brightness.close()
        self.haptic.close()
