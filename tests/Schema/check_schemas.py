"""Checks the JSON Schemas that `tzmchain schema` prints: they are schemas, every document of the manual is valid against the one
that it belongs to, and wrong documents aren't. Usage: check_schemas.py PROGRAM SOURCE"""

import json
import pathlib
import re
import subprocess
import sys

import jsonschema

program, source = sys.argv[1], pathlib.Path(sys.argv[2])


def schema(name):
    text = subprocess.run([program, "schema", name], capture_output=True, check=True, text=True).stdout
    loaded = json.loads(text)
    jsonschema.Draft202012Validator.check_schema(loaded)
    return loaded


schemas = {name: schema(name) for name in ("chain", "configuration")}
validators = {name: jsonschema.Draft202012Validator(loaded) for name, loaded in schemas.items()}
faults = []
checked = {"chain": 0, "configuration": 0}


def belongs_to(document):
    if "chain" in document:
        return "chain"
    return "configuration" if set(document) & set(schemas["configuration"]["properties"]) else None


def documents_of(page):
    """Fenced blocks, and whole objects between backticks."""
    text = page.read_text()
    return re.findall(r"```json\n(.*?)```", text, re.S) + re.findall(r"`(\{\"[^`]*\})`", text)


for page in [source / "README.md", *sorted((source / "docs").rglob("*.md"))]:
    for text in documents_of(page):
        try:
            document = json.loads(text)
        except json.JSONDecodeError:
            continue  # a part of one
        name = belongs_to(document)
        if name is None:
            continue
        checked[name] += 1
        faults += [f"{page.name}: {error.message}\n    in {text}" for error in validators[name].iter_errors(document)]

WRONG = {
    "chain": [
        "{}",
        '{"chain": []}',
        '{"chain": ["Mig2Post"]}',
        '{"chain": [{"algorithm": "Sharpen"}]}',
        '{"chain": [{"algorithm": "Mig2Post", "params": {}}]}',
        '{"chain": [{"algorithm": "Mig2Post"}], "extra": 1}',
        '{"chain": [{"algorithm": "FkMigration", "parameters": {"timezero": 1}}]}',
        '{"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 1.5}}]}',
        '{"chain": [{"algorithm": "FkMigration", "parameters": {"permittivity": "6"}}]}',
        '{"chain": [{"algorithm": "BgRemoval", "parameters": {"algorithm": "mean"}}]}',
        '{"chain": [{"algorithm": "Clipper", "parameters": {"borders": {"UpperZ": -1}}}]}',
    ],
    "configuration": [
        "[]",
        '{"FkMigration": {"Dip": 1.0}}',
        '{"FkMigration": {"UseDipMask": 1}}',
        '{"FkMigration": 1}',
        '{"Global": {"TimeZero": -1}}',
        '{"TimeZeroDetection": {"ChannelOffsets": {"TX9RX9": 1}}}',
        '{"AutoGain": {"GainStdMono": "loud"}}',
    ],
}
for name, texts in WRONG.items():
    for text in texts:
        if validators[name].is_valid(json.loads(text)):
            faults.append(f"{name}: valid, but shouldn't be: {text}")
# What the library passes over is valid, and so is what it limits.
for text in ('{"Other": {"Key": 1}, "Global": {"OfAnother": 1}}', '{"Global": {"ADBitResolution": 99}}'):
    if not validators["configuration"].is_valid(json.loads(text)):
        faults.append(f"configuration: not valid, but should be: {text}")

if min(checked.values()) < 1:
    faults.append(f"the manual has too few documents: {checked}")
print(f"{checked} documents of the manual")
print("\n".join(faults))
sys.exit(bool(faults))
