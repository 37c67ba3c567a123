#!/usr/bin/env python3
"""Checks tessarin-layout against an independent constraint solver.

Each case is written twice: as the JSON that tessarin-layout reads (views,
metrics, visual format strings, constraints) and, by this script itself, as
the linear constraints those formats stand for. The independent solver
solves the second with the same priority weights, and every frame must
agree within 0.01. The cases are random determinate layouts built from the format
grammar, and the in-app message panel in each of its variants.

usage: layout_oracle.py TESSARIN_LAYOUT [--cases N] [--seed S]
"""

import argparse
import itertools
import json
import os
import random
import subprocess
import sys
import tempfile

import kiwisolver as kiwi

REQUIRED = 1000
TOLERANCE = 0.011  # the tool rounds to 0.01


def weight(priority):
    """The engine's weight for a priority below required."""
    return 10 ** (min(max(priority, 0), 999) / 125)


def strength(priority):
    return kiwi.strength.required if priority >= REQUIRED else weight(priority)


class Layout:
    """One screen: the tool's JSON and this script's own constraints.

    A constraint record is (first, attribute, relation, second or None,
    attribute, multiplier, constant, priority), read as
    first.attribute (relation) second.attribute * multiplier + constant.
    """

    def __init__(self, width, height, direction="ltr"):
        self.size = (width, height)
        self.direction = direction
        self.views = {}  # name -> {"intrinsic", "hugging", "compression", "parent"}
        self.metrics = {}
        self.formats = []
        self.extra = []  # constraints given to the tool as constraints
        self.records = []  # what the oracle solves

    def view(self, name, parent="root", intrinsic=(-1, -1), hugging=(250, 250), compression=(750, 750)):
        self.views[name] = {"intrinsic": list(intrinsic), "hugging": list(hugging),
                            "compression": list(compression), "parent": parent}

    def constraint(self, record):
        self.extra.append(list(record))
        self.records.append(record)

    def tool_json(self):
        views = {}
        for name, desc in self.views.items():
            entry = {"intrinsic": desc["intrinsic"], "hugging": desc["hugging"],
                     "compression": desc["compression"]}
            if desc["parent"] != "root":
                entry["parent"] = desc["parent"]
            views[name] = entry
        doc = {"size": list(self.size), "views": views, "metrics": self.metrics, "formats": self.formats,
               "constraints": self.extra}
        if self.direction != "ltr":
            doc["direction"] = self.direction
        return doc


# --- The oracle -----------------------------------------------------------

def solve_independently(layout):
    """Frames relative to each view's parent, or None if required constraints conflict."""
    solver = kiwi.Solver()
    boxes = {}
    for name in ["root"] + list(layout.views):
        boxes[name] = [kiwi.Variable(name + "." + part) for part in ("left", "top", "width", "height")]
    width, height = layout.size
    for variable, value in zip(boxes["root"], (0, 0, width, height)):
        solver.addConstraint(variable == value)
    rtl = layout.direction == "rtl"

    def attribute(name, attr):
        left, top, w, h = boxes[name]
        # Leading and trailing run along the reading direction: right to
        # left they are the right and left edges, measured leftwards.
        table = {
            "left": left, "right": left + w, "top": top, "bottom": top + h, "width": 1 * w, "height": 1 * h,
            "centerX": left + w / 2, "centerY": top + h / 2,
            "leading": -(left + w) if rtl else 1 * left, "trailing": -left if rtl else left + w,
        }
        return table[attr]

    try:
        for first, attr1, relation, second, attr2, multiplier, constant, priority in layout.records:
            lhs = attribute(first, attr1)
            rhs = constant if second is None else attribute(second, attr2) * multiplier + constant
            c = {"==": lhs == rhs, "<=": lhs <= rhs, ">=": lhs >= rhs}[relation]
            solver.addConstraint(c | strength(priority))
        for name, desc in layout.views.items():
            for axis, size in ((0, boxes[name][2]), (1, boxes[name][3])):
                value = desc["intrinsic"][axis]
                if value < 0:
                    continue
                solver.addConstraint((size <= value) | strength(desc["hugging"][axis]))
                solver.addConstraint((size >= value) | strength(desc["compression"][axis]))
    except kiwi.UnsatisfiableConstraint:
        return None
    solver.updateVariables()
    frames = {}
    for name, desc in layout.views.items():
        parent = boxes[desc["parent"]]
        left, top, w, h = boxes[name]
        frames[name] = [left.value() - parent[0].value(), top.value() - parent[1].value(), w.value(), h.value()]
    return frames


def run_tool(tool, layout):
    with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as f:
        json.dump(layout.tool_json(), f)
        path = f.name
    try:
        done = subprocess.run([tool, path], capture_output=True, text=True, timeout=30)
    finally:
        os.unlink(path)
    return done


def compare(tool, layout, label):
    """None when the tool and the oracle agree, else what differs."""
    expected = solve_independently(layout)
    done = run_tool(tool, layout)
    if expected is None:
        if done.returncode != 0 and "unsatisfiable" in done.stderr:
            return None
        return f"{label}: the oracle finds the required constraints unsatisfiable, the tool said {done.stdout!r}"
    if done.returncode != 0:
        return f"{label}: the tool failed: {done.stderr.strip()}"
    frames = json.loads(done.stdout)
    for name, want in expected.items():
        got = frames.get(name)
        if got is None or any(abs(a - b) > TOLERANCE for a, b in zip(got, want)):
            return (f"{label}: {name} is {got}, the oracle says {[round(v, 2) for v in want]}\n"
                    f"  input: {json.dumps(layout.tool_json())}")
    return None


# --- Random determinate layouts from the format grammar ---------------------

METRICS = {"m1": 12, "m2": 7.5, "gap": 16, "pmid": 500}


class Generator:
    def __init__(self, rng):
        self.rng = rng
        self.used = set()

    def priority(self, low, high):
        # Every soft constraint of a layout gets its own priority, so that
        # no two trade off evenly and the optimum is unique.
        while True:
            p = self.rng.randint(low, high)
            if p not in self.used:
                self.used.add(p)
                return p

    def layout(self):
        rng = self.rng
        self.used = {500}  # "pmid"
        layout = Layout(rng.randint(560, 900), rng.randint(560, 900), rng.choice(["ltr", "rtl"]))
        layout.metrics = dict(METRICS)
        names = [f"v{i}" for i in range(rng.randint(2, 7))]
        self.intrinsic = {name: [-1, -1] for name in names}
        self.hugging = {name: [self.priority(150, 450), self.priority(150, 450)] for name in names}
        self.compression = {name: [self.priority(550, 900), self.priority(550, 900)] for name in names}
        self.fixed = [{}, {}]  # per axis: views whose size is a required literal
        for axis in (0, 1):
            order = names[:]
            rng.shuffle(order)
            while order:
                take = rng.randint(1, min(4, len(order)))
                self.chain(layout, axis, order[:take])
                order = order[take:]
        # A soft proportion between two sizes trades several points of one
        # preference against one of another, which only the same weights
        # settle the same way.
        if rng.random() < 0.5:
            a, b = rng.sample(names, 2)
            attr = rng.choice(["width", "height"])
            layout.constraint((a, attr, "==", b, attr, rng.choice([0.5, 1.5, 2.5, 4]), rng.randint(-10, 10),
                               self.priority(100, 950)))
        for name in names:
            layout.view(name, intrinsic=self.intrinsic[name], hugging=self.hugging[name],
                        compression=self.compression[name])
        return layout

    def chain(self, layout, axis, row):
        """One format over `row` along `axis`, with exactly one solution."""
        rng = self.rng
        lead, trail, size, center = (("leading", "trailing", "width", "centerX") if axis == 0
                                     else ("top", "bottom", "height", "centerY"))
        kind = rng.choice(["both", "both", "both", "lead", "trail", "center"])
        closed = kind == "both"
        # Slots: connections (before each view, and after the last) and views.
        n_connections = len(row) + 1 if closed else (len(row) if kind != "center" else len(row) - 1)
        flex = None
        if closed and rng.random() < 0.6:
            flex = rng.choice([("view", i) for i in range(len(row))] + [("gap", i) for i in range(n_connections)])

        sizing = []
        for i, name in enumerate(row):
            if flex == ("view", i):
                sizing.append(("flex",))
                continue
            options = ["fixed", "metric", "intrinsic", "intrinsic"]
            if self.fixed[axis]:
                options.append("equal")
            choice = rng.choice(options)
            if choice == "fixed":
                sizing.append(("fixed", rng.randint(20, 90)))
            elif choice == "metric":
                sizing.append(("metric", rng.choice(["m1", "gap"])))
            elif choice == "equal":
                sizing.append(("equal", rng.choice(sorted(self.fixed[axis]))))
            else:
                sizing.append(("intrinsic", rng.randint(20, 120), rng.random() < 0.3))

        gaps = []
        for i in range(n_connections):
            if flex == ("gap", i):
                gaps.append(("atleast", rng.randint(0, 10)))
                continue
            gaps.append(rng.choice([("standard",), ("number", rng.randint(0, 20)), ("metric", "m2"), ("flush",),
                                    ("equal", rng.randint(1, 30)), ("soft", rng.randint(4, 30)),
                                    ("softmetric", rng.randint(4, 30))]))
        if closed and flex is None and not any(s[0] == "intrinsic" for s in sizing) \
                and not any(g[0] in ("soft", "softmetric") for g in gaps):
            gaps[rng.randrange(len(gaps))] = ("soft", rng.randint(4, 30))

        def view_text(i, name):
            desc = sizing[i]
            if desc[0] == "fixed":
                layout.records.append((name, size, "==", None, None, 1, desc[1], REQUIRED))
                self.fixed[axis][name] = desc[1]
                return f"[{name}({desc[1]})]" if rng.random() < 0.5 else f"[{name}(=={desc[1]})]"
            if desc[0] == "metric":
                layout.records.append((name, size, "==", None, None, 1, METRICS[desc[1]], REQUIRED))
                self.fixed[axis][name] = METRICS[desc[1]]
                return f"[{name}({desc[1]})]"
            if desc[0] == "equal":
                layout.records.append((name, size, "==", desc[1], size, 1, 0, REQUIRED))
                return f"[{name}({desc[1]})]"
            if desc[0] == "intrinsic":
                self.intrinsic[name][axis] = desc[1]
                if desc[2]:
                    floor = desc[1] // 2
                    layout.records.append((name, size, ">=", None, None, 1, floor, REQUIRED))
                    return f"[{name}(>={floor})]"
            return f"[{name}]"

        def gap_text(i, first, second):
            """The connection between `first` and `second` ("|" for the superview)."""
            bar = first == "|" or second == "|"
            gap = gaps[i]
            if second == "|":
                a, a_attr, b, b_attr = "root", trail, first, trail
            elif first == "|":
                a, a_attr, b, b_attr = second, lead, "root", lead
            else:
                a, a_attr, b, b_attr = second, lead, first, trail

            def add(relation, constant, priority=REQUIRED):
                layout.records.append((a, a_attr, relation, b, b_attr, 1, constant, priority))

            if gap[0] == "standard":
                add("==", 20 if bar else 8)
                return "-"
            if gap[0] == "number":
                add("==", gap[1])
                return f"-{gap[1]}-"
            if gap[0] == "metric":
                add("==", METRICS[gap[1]])
                return f"-{gap[1]}-"
            if gap[0] == "flush":
                add("==", 0)
                return ""
            if gap[0] == "equal":
                add("==", gap[1])
                return f"-(=={gap[1]})-"
            if gap[0] == "atleast":
                add(">=", gap[1])
                return f"-(>={gap[1]})-"
            if gap[0] == "soft":
                p = self.priority(100, 950)
                add(">=", 2)
                add("==", gap[1], p)
                return f"-(>=2,{gap[1]}@{p})-"
            add("==", gap[1], 500)  # "softmetric": the priority is the metric "pmid"
            return f"-({gap[1]}@pmid)-"

        text = "V:" if axis == 1 else rng.choice(["H:", ""])
        g = 0
        if kind in ("both", "lead"):
            text += "|" + gap_text(0, "|", row[0])
            g = 1
        for i, name in enumerate(row):
            if i > 0:
                text += gap_text(g, row[i - 1], name)
                g += 1
            text += view_text(i, name)
        if kind in ("both", "trail"):
            text += gap_text(g, row[-1], "|") + "|"
        layout.formats.append(text)
        if kind == "center":
            middle = rng.choice(row)
            layout.constraint((middle, center, "==", "root", center, 1, rng.randint(-50, 50), REQUIRED))
        # Connections whose priority is the metric all weigh 500: two of
        # them in one layout could trade off evenly, so such a layout is
        # drawn again.
        if sum(f.count("@pmid") for f in layout.formats) > 1:
            raise Retry()


class Retry(Exception):
    pass


# --- The in-app message panel -------------------------------------------------

PANEL_METRICS = {"_marginHorizontal": 10, "_marginVertical": 10, "_heightMin": 44, "_paddingHorizontal": 10,
                 "_paddingVertical": 10, "_buttonsHeightMin": 36, "_buttonsWidthMin": 108, "_buttonsSpacing": 10}


def panel(position, guides, title, body, buttons, strict, screen=(375, 667)):
    """The panel's formats, filled in as the message view controller does."""
    layout = Layout(*screen)
    layout.metrics = dict(PANEL_METRICS, buttonsEqualWidthPriority=1000 if strict else 251)
    rec = layout.records.append
    m = PANEL_METRICS
    W, H = screen

    # The top guide under a 20-point status bar, the bottom one empty.
    layout.view("topLG")
    layout.view("botLG")
    for record in (("topLG", "top", "==", "root", "top", 1, 0, REQUIRED),
                   ("topLG", "height", "==", None, None, 1, 20, REQUIRED),
                   ("topLG", "left", "==", "root", "left", 1, 0, REQUIRED),
                   ("topLG", "width", "==", "root", "width", 1, 0, REQUIRED),
                   ("botLG", "bottom", "==", "root", "bottom", 1, 0, REQUIRED),
                   ("botLG", "height", "==", None, None, 1, 0, REQUIRED),
                   ("botLG", "left", "==", "root", "left", 1, 0, REQUIRED),
                   ("botLG", "width", "==", "root", "width", 1, 0, REQUIRED)):
        layout.constraint(record)

    layout.view("_mainView")
    layout.formats.append("|-_marginHorizontal-[_mainView]-_marginHorizontal-|")
    rec(("_mainView", "leading", "==", "root", "leading", 1, m["_marginHorizontal"], REQUIRED))
    rec(("root", "trailing", "==", "_mainView", "trailing", 1, m["_marginHorizontal"], REQUIRED))
    top_relation = "==" if position == "top" else ">="
    bottom_relation = "==" if position == "bottom" else ">="
    layout.formats.append("V:%s-(%s_marginVertical)-[_mainView(>=_heightMin)]-(%s_marginVertical)-%s" % (
        "[topLG]" if guides else "|", top_relation, bottom_relation, "[botLG]" if guides else "|"))
    if guides:
        rec(("_mainView", "top", top_relation, "topLG", "bottom", 1, m["_marginVertical"], REQUIRED))
        rec(("botLG", "top", bottom_relation, "_mainView", "bottom", 1, m["_marginVertical"], REQUIRED))
    else:
        rec(("_mainView", "top", top_relation, "root", "top", 1, m["_marginVertical"], REQUIRED))
        rec(("root", "bottom", bottom_relation, "_mainView", "bottom", 1, m["_marginVertical"], REQUIRED))
    rec(("_mainView", "height", ">=", None, None, 1, m["_heightMin"], REQUIRED))
    if position == "center":
        layout.constraint(("_mainView", "centerY", "==", "root", "centerY", 1.0, 0.0, REQUIRED))

    last = None
    for name, present, hug, size in (("title", title, 249, (140, 21)), ("body", body, 248, (290, 41))):
        if not present:
            continue
        layout.view(name, parent="_mainView", intrinsic=size, hugging=(250, hug))
        layout.formats.append(f"|-_paddingHorizontal-[{name}]-_paddingHorizontal-|")
        rec((name, "leading", "==", "_mainView", "leading", 1, m["_paddingHorizontal"], REQUIRED))
        rec(("_mainView", "trailing", "==", name, "trailing", 1, m["_paddingHorizontal"], REQUIRED))
        if last is None:
            layout.formats.append(f"V:|-_paddingVertical-[{name}]")
            rec((name, "top", "==", "_mainView", "top", 1, m["_paddingVertical"], REQUIRED))
        else:
            layout.formats.append(f"V:[{last}][{name}]")
            rec((name, "top", "==", last, "bottom", 1, 0, REQUIRED))
        last = name

    if buttons:
        equal_priority = 1000 if strict else 251
        for spacer in ("leadingSpacerView", "trailingSpacerView"):
            layout.view(spacer, parent="_mainView")
            layout.formats.append(f"V:[{last}]-_paddingVertical-[{spacer}(_buttonsHeightMin)]")
            rec((spacer, "top", "==", last, "bottom", 1, m["_paddingVertical"], REQUIRED))
            rec((spacer, "height", "==", None, None, 1, m["_buttonsHeightMin"], REQUIRED))
        widths = [96, 150, 124][:buttons]
        previous = None
        for i, w in enumerate(widths):
            button = f"button{i}"
            layout.view(button, parent="_mainView", intrinsic=(w, 30), hugging=(250, 250))
            layout.formats.append(f"V:[{last}]-_paddingVertical-[{button}(>=_buttonsHeightMin)]")
            rec((button, "top", "==", last, "bottom", 1, m["_paddingVertical"], REQUIRED))
            rec((button, "height", ">=", None, None, 1, m["_buttonsHeightMin"], REQUIRED))
            if previous is None:
                layout.formats.append(f"|-_paddingHorizontal-[leadingSpacerView]-0-[{button}(>=_buttonsWidthMin)]")
                rec(("leadingSpacerView", "leading", "==", "_mainView", "leading", 1, m["_paddingHorizontal"],
                     REQUIRED))
                rec((button, "leading", "==", "leadingSpacerView", "trailing", 1, 0, REQUIRED))
            else:
                layout.formats.append(f"[{previous}]-_buttonsSpacing-[{button}(>=_buttonsWidthMin)]")
                rec((button, "leading", "==", previous, "trailing", 1, m["_buttonsSpacing"], REQUIRED))
                layout.formats.append(f"[{button}({previous}@buttonsEqualWidthPriority)]")
                rec((button, "width", "==", previous, "width", 1, 0, equal_priority))
            rec((button, "width", ">=", None, None, 1, m["_buttonsWidthMin"], REQUIRED))
            previous = button
        layout.formats.append(f"[{previous}][trailingSpacerView(leadingSpacerView)]-_paddingHorizontal-|")
        rec(("trailingSpacerView", "leading", "==", previous, "trailing", 1, 0, REQUIRED))
        rec(("trailingSpacerView", "width", "==", "leadingSpacerView", "width", 1, 0, REQUIRED))
        rec(("_mainView", "trailing", "==", "trailingSpacerView", "trailing", 1, m["_paddingHorizontal"], REQUIRED))
        last = previous
    layout.formats.append(f"V:[{last}]-_paddingVertical-|")
    rec(("_mainView", "bottom", "==", last, "bottom", 1, m["_paddingVertical"], REQUIRED))
    return layout


def panel_cases():
    for position, guides, (title, body), buttons, strict in itertools.product(
            ("top", "bottom", "center"), (True, False), ((True, True), (True, False), (False, True)),
            range(4), (True, False)):
        if buttons == 0 and not strict:
            continue  # without buttons the width rule has nothing to apply to
        label = (f"panel {position}, guides {'on' if guides else 'off'}, title {title}, body {body}, "
                 f"{buttons} buttons, {'strict' if strict else 'loose'}")
        yield label, panel(position, guides, title, body, buttons, strict)


# --- Errors -----------------------------------------------------------------

def error_cases(tool):
    failures = []
    for label, doc, expected in (
            ("malformed format", {"size": [100, 100], "views": {"a": {}}, "formats": ["|-[a"]},
             "format 1: expected ']' but the format ends at position 4"),
            ("unknown metric", {"size": [100, 100], "views": {"a": {}}, "formats": ["|-m-[a]"]},
             "unknown metric 'm'"),
            ("unsatisfiable", {"size": [100, 100], "views": {"a": {}}, "formats": ["|-[a(200)]-|", "V:|[a(5)]"]},
             "unsatisfiable constraint left out: a.width == 200 @1000"),
    ):
        with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as f:
            json.dump(doc, f)
            path = f.name
        try:
            done = subprocess.run([tool, path], capture_output=True, text=True, timeout=30)
        finally:
            os.unlink(path)
        lines = done.stderr.strip().split("\n")
        if done.returncode == 0 or len(lines) != 1 or expected not in lines[0] or done.stdout:
            failures.append(f"{label}: exit {done.returncode}, stderr {done.stderr!r}")
    return failures


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tool")
    parser.add_argument("--cases", type=int, default=300)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    failures = []
    passed = 0
    rng = random.Random(args.seed)
    generator = Generator(rng)
    made = 0
    while made < args.cases:
        try:
            layout = generator.layout()
        except Retry:
            continue
        made += 1
        problem = compare(args.tool, layout, f"random layout {made}")
        if problem:
            failures.append(problem)
        else:
            passed += 1
    for label, layout in panel_cases():
        problem = compare(args.tool, layout, label)
        if problem:
            failures.append(problem)
        else:
            passed += 1
    errors = error_cases(args.tool)
    failures += errors
    passed += 3 - len(errors)

    for failure in failures[:10]:
        print(failure)
    print(f"{passed} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
