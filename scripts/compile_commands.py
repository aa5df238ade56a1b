# SPDX-License-Identifier: Apache-2.0
"""Reads how a build compiles each source, alone or with others of its target as one (unity)."""
import json
import re


def compile_commands(path):
    """Yields the entries of a compile_commands.json; in a unity build too, each source has its own.
    What a unity's source is compiled to is that of the whole unity."""
    with open(path, encoding="utf-8") as file:
        entries = json.load(file)
    for entry in entries:
        if "/Unity/unity_" not in entry["file"]:
            yield entry
            continue
        with open(entry["file"], encoding="utf-8") as unity:
            sources = re.findall(r'^#include "(.*)"$', unity.read(), re.M)
        for source in sources:
            yield dict(entry, file=source, command=entry["command"].replace(entry["file"], source))
