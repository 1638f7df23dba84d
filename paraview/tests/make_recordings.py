"""Recordings for the tests of the plugin, and the images that tzmchain makes of them: TZMCHAIN FOLDER."""

import json
import pathlib
import struct
import subprocess
import sys

LINE = {"chain": [{"algorithm": "OffsetRemoval"},
                  {"algorithm": "TimeZeroCrop", "parameters": {"timeZero": 30}},
                  {"algorithm": "HorizontalSumUp", "parameters": {"Thickness": 3, "UseMax": True}},
                  {"algorithm": "FkMigration", "parameters": {"timeZero": 2, "permittivity": 9}},
                  {"algorithm": "NormalizationCscan", "parameters": {"Min": 0, "Max": 1}}]}


def dzt(path, samples, ascans, channels):
    """A radar file: a header of 1024 bytes per channel, then 16-bit words, channel by channel of each A-scan."""
    header = bytearray(1024 * channels)
    for at, form, value in ((0, "H", 0xff), (2, "H", 1024), (4, "H", samples), (6, "H", 16), (14, "f", 50.0),
                            (22, "f", 0.0), (26, "f", 25.6), (52, "H", channels), (54, "f", 9.0)):
        struct.pack_into("<" + form, header, at, value)
    words = bytearray()
    for ascan in range(ascans):
        for channel in range(channels):
            apex = 60 + 10 * (channel % 3)
            for sample in range(samples):
                noise = (sample * 7919 + ascan * 104729 + channel * 1299709) % 211
                echo = 4000 if abs((apex ** 2 + 9 * (ascan - 20) ** 2) ** 0.5 - sample) < 2 else 0
                words += struct.pack("<H", 32768 + noise + echo)
    path.write_bytes(bytes(header + words))


tzmchain, folder = sys.argv[1], pathlib.Path(sys.argv[2])
dzt(folder / "line.dzt", 256, 40, 5)
(folder / "line.json").write_text(json.dumps(LINE))
(folder / "broken.dzt").write_text("no radar")
# The program gives a migration more room unless its configuration says otherwise.
(folder / "none.json").write_text(json.dumps({"FkMigration": {"DepthSpectrumSizeExtension": 0}}))
subprocess.run([tzmchain, "run", folder / "line.dzt", "--chain", folder / "line.json", "--config", folder / "none.json", "--out",
                folder / "line", "--quiet"], check=True)
subprocess.run([tzmchain, "run", folder / "line.dzt", "--chain", folder / "line.json", "--out", folder / "own", "--quiet"], check=True)
subprocess.run([tzmchain, "demo", "--out", folder / "demo", "--quiet"], check=True)
