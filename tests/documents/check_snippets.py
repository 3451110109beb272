#!/usr/bin/python3
"""Holds the snippets for build servers in docs/release.md to their documented formats.

GitLab and GitHub have schemas. Jenkins has none for its pipelines: of that snippet only the brackets
are counted, so whether Jenkins takes it is not tested.
"""
import json
import pathlib
import re

import jsonschema
import yaml

ROOT = pathlib.Path(__file__).resolve().parents[2]


def snippets():
    """The code of each server by its name, which stands before the block."""
    text = (ROOT / "docs/release.md").read_text()
    return dict(re.findall(r"^(GitLab|Jenkins|GitHub),.*?```\w+\n(.*?)```", text, re.M | re.S))


def fits(code, schema):
    rules = json.loads((ROOT / "third_party/schemas" / schema).read_text())
    # All scalars are texts: the key "on" is else the value true.
    document = yaml.load(code, yaml.BaseLoader)
    return jsonschema.validators.validator_for(rules)(rules).is_valid(document)


def brackets_match(code):
    code = re.sub(r"'[^']*'", "", code)
    while (shorter := re.sub(r"\([^(){}\[\]]*\)|\{[^(){}\[\]]*\}|\[[^(){}\[\]]*\]", "", code)) != code:
        code = shorter
    return not re.search(r"[(){}\[\]]", code)


def main():
    found = snippets()
    assert set(found) == {"GitLab", "Jenkins", "GitHub"}, set(found)
    checks = {
        "GitLab": lambda code: fits(code, "gitlab_ci.json"),
        "GitHub": lambda code: fits(code, "github_workflow.json"),
        "Jenkins": brackets_match,
    }
    spoiled = {"GitLab": ("script:", "scripts:"), "GitHub": ("steps:", "step:"), "Jenkins": ("}", "", 1)}
    for server, holds in checks.items():
        assert holds(found[server]), f"not as {server} documents it"
        assert not holds(found[server].replace(*spoiled[server])), f"the check of {server} takes anything"


if __name__ == "__main__":
    main()
