#!/usr/bin/env python3
"""What of others is in the built programs: the notices for people, and a bill of materials (SPDX 2.3).

    notices.py --markdown | --spdx VERSION  FILE...

FILE are built programs and libraries. Each library that one of them needs must be ours, which means among
FILE, or of a component in packaging/third_party.json: what is not is told, and the script ends with 1.
"""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys

PLACE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "packaging")


def needed_by(path):
    dynamic = subprocess.run(["readelf", "-W", "-d", path], check=True, capture_output=True, text=True).stdout
    return re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)


def libraries_by_component(components, files):
    """The libraries that are needed of each component, by its name; those of none under ""."""
    ours = {os.path.basename(path) for path in files}
    found = {component["name"]: set() for component in components}
    found[""] = set()
    for library in sorted({library for path in files for library in needed_by(path)} - ours):
        owner = next((component["name"] for component in components
                      if any(re.fullmatch(pattern, library) for pattern in component["libraries"])), "")
        found[owner].add(library)
    return found


def installed_version(package):
    shown = subprocess.run(["dpkg-query", "-W", "-f=${source:Upstream-Version}", package],
                           check=False, capture_output=True, text=True)
    return shown.stdout.strip() or "NOASSERTION"


def licence_text(name):
    with open(os.path.join(PLACE, "licences", name + ".txt"), encoding="utf-8") as text:
        return text.read().rstrip()


def markdown(components, libraries):
    lines = ["# What of others is in it", "",
             "Made by `scripts/notices.py --markdown` from what the programs and libraries are linked with: do not "
             "edit this page.", ""]
    for component in components:
        lines += ["## %s" % component["name"], "",
                  "%s, <%s>. Licence: %s; %s." % (component["supplier"], component["homepage"],
                                                  component["licence"], component["use"]), ""]
        if libraries[component["name"]]:
            lines += ["Libraries: %s." % ", ".join("`%s`" % one for one in sorted(libraries[component["name"]])), ""]
        lines += [component["terms"], ""]
        if "copyright" in component:
            lines += ["    " + component["copyright"], "    "]
            lines += [("    " + line).rstrip() for line in licence_text(component["licence"]).splitlines()]
            lines += [""]
    return "\n".join(lines)


def spdx(components, version, files):
    # Reproducible where the time of the sources is given.
    seconds = int(os.environ.get("SOURCE_DATE_EPOCH", "0")) or datetime.datetime.now().timestamp()
    created = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    digest = hashlib.sha256()
    for path in sorted(files, key=os.path.basename):
        with open(path, "rb") as content:
            digest.update(content.read())
    packages = [{"SPDXID": "SPDXRef-PDeviceMdc", "name": "PDeviceMdc", "versionInfo": version,
                 "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
                 "licenseConcluded": "NONE", "licenseDeclared": "NONE", "copyrightText": "NOASSERTION"}]
    relations = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                  "relatedSpdxElement": "SPDXRef-PDeviceMdc"}]
    for component in components:
        identifier = "SPDXRef-" + re.sub("[^A-Za-z0-9.]", "-", component["name"])
        packages.append({"SPDXID": identifier, "name": component["name"],
                         "versionInfo": installed_version(component["versionOf"]),
                         "supplier": "Organization: " + component["supplier"],
                         "downloadLocation": component["homepage"], "filesAnalyzed": False,
                         "licenseConcluded": component["licence"], "licenseDeclared": component["licence"],
                         "copyrightText": component.get("copyright", "NOASSERTION")})
        static = component["use"].startswith("headers")
        relations.append({"spdxElementId": "SPDXRef-PDeviceMdc",
                          "relationshipType": "STATIC_LINK" if static else "DYNAMIC_LINK",
                          "relatedSpdxElement": identifier})
    document = {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
                "name": "PDeviceMdc-" + version,
                "documentNamespace": "urn:pdevicemdc:%s:%s" % (version, digest.hexdigest()),
                "creationInfo": {"created": created, "creators": ["Tool: scripts/notices.py"]},
                "packages": packages, "relationships": relations}
    return json.dumps(document, indent=2, ensure_ascii=False)


def main():
    words = sys.argv[1:]
    if words[:1] == ["--markdown"]:
        version, files = None, words[1:]
    elif words[:1] == ["--spdx"] and len(words) > 1:
        version, files = words[1], words[2:]
    else:
        files = []
    if not files:
        sys.exit(__doc__)
    with open(os.path.join(PLACE, "third_party.json"), encoding="utf-8") as text:
        components = json.load(text)["components"]
    libraries = libraries_by_component(components, files)
    if libraries[""]:
        sys.exit("notices: nothing is known of %s: add it to packaging/third_party.json" %
                 ", ".join(sorted(libraries[""])))
    print(markdown(components, libraries) if version is None else spdx(components, version, files))


if __name__ == "__main__":
    main()
