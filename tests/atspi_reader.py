#!/usr/bin/python3
# Reads one application's windows through the desktop's accessibility bus,
# as a screen reader does, and prints what it found as JSON.
#   atspi_reader.py APP tree   every object that shows: role, name, states, actions
#   atspi_reader.py APP focus  the object that has the keyboard
import json
import sys

import pyatspi


def app_named(name):
    desktop = pyatspi.Registry.getDesktop(0)
    for i in range(desktop.childCount):
        app = desktop.getChildAtIndex(i)
        if app is not None and app.name == name:
            return app
    return None


def describe(obj, path):
    states = obj.getState()
    try:
        action = obj.queryAction()
        actions = [action.getName(i) for i in range(action.nActions)]
    except NotImplementedError:
        actions = []
    return {
        "path": path,
        "role": obj.getRoleName(),
        "name": obj.name or "",
        "focusable": states.contains(pyatspi.STATE_FOCUSABLE),
        "focused": states.contains(pyatspi.STATE_FOCUSED),
        "showing": states.contains(pyatspi.STATE_SHOWING),
        "actions": actions,
    }


def walk(obj, path, out, into_tables):
    try:
        entry = describe(obj, path)
    except Exception:  # an object that went while being read
        return
    if not entry["showing"] and path.count("/") > 1:
        return
    out.append(entry)
    # A table's cells are its data, read out by their contents.
    if entry["role"] == "table" and not into_tables:
        return
    for i in range(obj.childCount):
        child = obj.getChildAtIndex(i)
        if child is not None:
            walk(child, path + "/" + str(i), out, into_tables)


def main():
    app = app_named(sys.argv[1])
    if app is None:
        print(json.dumps({"error": "no application " + sys.argv[1]}))
        return
    out = []
    if sys.argv[2] == "tree":
        walk(app, "0", out, False)
        print(json.dumps(out, ensure_ascii=False))
        return
    walk(app, "0", out, True)
    focused = [e for e in out if e["focused"]]
    tables = {e["path"]: e for e in out if e["role"] == "table"}
    answer = {}
    for e in focused:
        # A focused cell stands for its table.
        owner = next((t for p, t in tables.items() if e["path"].startswith(p + "/")), None)
        answer = owner if owner else e
        if e["role"] not in ("table cell",):
            break
    print(json.dumps(answer, ensure_ascii=False))


main()
