#!/usr/bin/env python3
"""Writes docs/reference: a page for each chapter of include/zylqx.h, with an entry for each of
its functions, and a list of all. What an entry says comes from the comments of the header, from
operations/operations.json, from pictures.json (the command) and docs/reference/costs.json.

    reference.py [--check]

With --check nothing is written: the exit code is 1 when a page is out of date, or when an
exported function has no entry.
"""
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "operations"))
sys.path.insert(0, str(ROOT / "tests/operations"))
from comments import CHAPTERS, HEAD, PAGE_OF, filled, linked, said  # noqa: E402
from hpp import KEYWORDS, Operation, camel, declaration, wrapped  # noqa: E402
from table import RANGES, TABLE, prototypes  # noqa: E402

PAGES = ROOT / "docs/reference"
PICTURES = json.loads((ROOT / "docs/site/pictures.json").read_text())
COSTS_FILE = PAGES / "costs.json"
COSTS = json.loads(COSTS_FILE.read_text()) if COSTS_FILE.exists() else {"operations": {}}
OPERATIONS = {each["function"]: each for each in TABLE["operations"]}
LAYOUTS = {"gray": "gray", "gray-alpha": "gray with alpha", "color": "colour",
           "color-alpha": "colour with alpha"}
PYTHON_OWN = {"translate-dib", "convert-from-dib", "convert-to-dib"}


def limit(text, operation):
    """A limit as the reader knows it."""
    names = {each["name"]: each["name"] for each in operation["parameters"]}
    base = re.match(r"\w+", str(text))[0] if isinstance(text, str) else ""
    if base == "depth":
        return {"depth.min": "the depth's least", "depth.max": "the depth's largest"}[text]
    return f"`{text}`" if base in names else str(text)


def allowed(entry, operation):
    if "choices" in entry:
        return "; ".join(f"`{each['constant'] or each['value']}` {each['help']}"
                         for each in TABLE["choices"][entry["choices"]])
    if entry["kind"] not in RANGES:
        return {"bool": "0 or 1", "float": "any number"}.get(entry["kind"], "")
    least, most = RANGES[entry["kind"]]
    least, most = entry.get("min", least), entry.get("max", most)
    ends = RANGES[entry["kind"]]
    if (least, most) == ends:
        text = "any"
    elif most == ends[1]:
        text = f"at least {limit(least, operation)}"
    else:
        text = f"{limit(least, operation)} to {limit(most, operation)}"
    return text + (f", {entry['unit']}" if "unit" in entry else "")


def default(entry, operation):
    if entry.get("nullable"):
        return "null"
    value = entry.get("default")
    if value is None:
        return ""
    if isinstance(value, list):
        value = value[0]
    if "choices" in entry:
        chosen = next(e for e in TABLE["choices"][entry["choices"]] if e["word"] == value)
        return f"`{chosen['constant'] or chosen['value']}`"
    return limit(value, operation)


def parameter_table(parameters, operation, page):
    described = {name: text for names, text in parameters for name in names}
    if operation is None:
        rows = ["| `{}` | {} |".format(", ".join(names), linked(text, page).replace("|", "\\|"))
                for names, text in parameters]
        return "| parameter | meaning |\n|---|---|\n" + "\n".join(rows) if rows else ""
    rows = []
    for entry in operation["parameters"]:
        text = described.get(entry["name"], "")
        if not text or re.match(r"(see above|as (above|in|for) |the same)", text):
            text = entry["help"]
        cells = (f"`{entry['name']}`", linked(text, page), allowed(entry, operation),
                 default(entry, operation))
        rows.append("| " + " | ".join(each.replace("|", "\\|") for each in cells) + " |")
    return ("| parameter | meaning | values | usually |\n|---|---|---|---|\n" + "\n".join(rows))


def pairs(accepted, name):
    if accepted == "any":
        return "any"
    if isinstance(accepted, list):
        return ", ".join(map(name, accepted))
    return "; ".join(f"{name(source)} to {', '.join(map(name, results))}"
                     for source, results in accepted.items())


def facts(operation):
    yes = lambda flag: "yes" if flag else "no"
    rows = [("depths", pairs(operation["depths"], str)),
            ("channels", pairs(operation["layouts"], LAYOUTS.get)),
            ("reads", {"pixel": "the pixel itself", "around": "pixels around it",
                       "elsewhere": "pixels at other places", "all": "all pixels"}[operation["reads"]]),
            ("regions, channel of interest", f"{yes(operation['regions'])}, {yes(operation['channel'])}"),
            ("tiles", yes(operation["tiles"])), ("in place", yes(operation["inPlace"])),
            ("borders count", yes(operation["borders"])),
            ("alpha", {"channel": "a channel like any other", "kept": "left as it is",
                       "used": "used as alpha"}[operation["alpha"]])]
    cost = COSTS["operations"].get(operation["name"])
    if cost:
        rows.append(("cost", cost))
    return "| | |\n|---|---|\n" + "\n".join(f"| {a} | {b} |" for a, b in rows)


def command(operation):
    picture = PICTURES[operation["name"]]
    if "steps" not in picture:
        return ""
    steps = " ".join(filter(None, (picture.get("before"), picture["steps"])))
    target = "" if picture.get("prints") else " out." + picture.get("format", "png")
    options = " " + picture["options"] if "options" in picture else ""
    return " ".join(f"zyl photo.png {steps}{target}{options}".split())


def elsewhere(operation):
    made = Operation(operation)
    snake = operation["name"].replace("-", "_")
    if snake in KEYWORDS | {"open"}:
        snake += "_"
    python = "from_bitmap, to_bitmap" if operation["name"] in PYTHON_OWN else f"zx.{snake}"
    cpp = made.name + "(" + declaration(made.parameters) + ")"
    if made.name == "translateDib":
        cpp = "translateDib(const void *dib, bool *shared = nullptr)"
    lines = ["```cpp", wrapped(f"zyl::{cpp}", ""), "```", "",
             f"Python: [`{python}`](../guide/python.md). JavaScript: "
             f"[`{camel(operation['name']).rstrip('_')}`](../guide/javascript.md)."]
    return "\n".join(lines)


def signature(code):
    code = " ".join(re.sub(r"ZYL_(API|CALL) ", "", code.split("/*")[0]).split())
    return "```c\n" + wrapped(code, "") + "\n```"


def function_entry(part, page):
    comment = said(part.comment, page)
    operation = OPERATIONS.get(part.name)
    first = next((i for i, text in enumerate(comment.paragraphs) if text.startswith("Reports")),
                 len(comment.paragraphs))
    parts = [f"### {part.name}"]
    if operation:
        parts.append(f"<!-- picture {operation['name']} -->")
    parts += comment.paragraphs[:first]
    parts.append(signature(part.code()))
    parts.append(parameter_table(comment.parameters, operation, page))
    if comment.result:
        parts.append(filled("**Result:** " + linked(comment.result, page)))
    parts += [re.sub(r"^Reports", "**Reports**", text) for text in comment.paragraphs[first:]]
    if operation:
        parts.append(facts(operation))
        if "note" in operation:
            parts.append(f"Note: {linked(operation['note'], page)}.")
    if comment.example:
        parts.append(f"```c\n{comment.example}\n```")
    if operation:
        if command(operation):
            parts.append(f"```sh\n{command(operation)}\n```")
        parts.append(elsewhere(operation))
    return parts


def declaration_entry(part, page):
    comment = said(part.comment, page)
    if comment.parameters:
        return [*comment.paragraphs, signature(part.code()),
                parameter_table(comment.parameters, None, page)]
    return [*comment.paragraphs, "```c\n" + part.code().replace("/**<", "/*") + "\n```"]


def chapter_page(chapter):
    text = [f"<!-- Made by docs/site/reference.py. -->\n# {chapter.title}",
            *said(chapter.comment, chapter.page).paragraphs]
    for part in chapter.parts:
        if part.section:
            text += [f"## {part.name}", *said(part.comment, chapter.page).paragraphs]
        else:
            entry = function_entry if part.function else declaration_entry
            text += entry(part, chapter.page)
    return "\n\n".join(filter(None, text)) + "\n"


def first_sentence(part, page):
    text = " ".join(said(part.comment, page).paragraphs[0].split())
    return re.split(r"(?<=[.:])\s", text)[0].rstrip(":.") + "."


def index():
    lines = ["<!-- Made by docs/site/reference.py. -->", "# Reference", "",
             f"All {len(PAGE_OF)} functions. What holds for every operation stands in",
             "[rules of all operations](rules.md); the pictures are in the [gallery](gallery.md)", ""]
    lines[-2] += "."
    for chapter in CHAPTERS:
        page = chapter.page
        lines += [f"## [{chapter.title}]({page}.md)", "", "| function | |", "|---|---|"]
        for part in chapter.parts:
            if not part.function:
                continue
            summary = first_sentence(part, page)
            if part.name in OPERATIONS:
                summary = OPERATIONS[part.name]["help"]
                summary = linked(summary[0].upper() + summary[1:], page)
            summary = re.sub(r"\]\(#", f"]({page}.md#", summary.rstrip(".")).replace("|", "\\|")
            lines.append(f"| [`{part.name}`]({page}.md#{part.name.lower()}) | {summary} |")
        lines.append("")
    if "conditions" in COSTS:
        lines += ["## Costs", "", COSTS["conditions"], ""]
    return "\n".join(lines)


def rules():
    """What the head of the header says, from its first heading on."""
    out = ["<!-- Made by docs/site/reference.py. -->\n# Rules of all operations"]
    paragraphs = said(HEAD, "rules").paragraphs
    out += paragraphs[next(i for i, each in enumerate(paragraphs) if "holds for every" in each):]
    for section in HEAD.iter("sect2"):
        out += [f"## {section.findtext('title')}", *said(section, "rules").paragraphs]
    return re.sub(r"(chapters\s3\sto\s11)", r"\1 of the header", "\n\n".join(out))


def gallery():
    lines = ["<!-- Made by docs/site/reference.py. -->", "# Gallery", "",
             "What each operation does to one picture. On the site, pictures are made by the build;",
             "`make docs` puts it into `build/docs`.", ""]
    for family in TABLE["families"]:
        lines += [f"## {family['title']}", "", f"<!-- gallery {family['name']} -->", ""]
        lines += [", ".join(f"[{each['name']}]({each['family']}.md#{each['function'].lower()})"
                            for each in TABLE["operations"] if each["family"] == family["name"]), ""]
    return "\n".join(lines)


def pages():
    made = {chapter.page: chapter_page(chapter) for chapter in CHAPTERS}
    return {**made, "README": index(), "rules": rules(), "gallery": gallery()}


def main():
    check = sys.argv[1:] == ["--check"]
    wrong = []
    made = pages()
    for name in prototypes():
        if not re.search(rf"^### {name}$", made[PAGE_OF.get(name, "README")], flags=re.M):
            wrong.append(f"{name} has no entry in docs/reference")
    for each in OPERATIONS.values():
        if each["name"] not in PICTURES:
            wrong.append(f"{each['name']} has no picture in docs/site/pictures.json")
    for name, text in made.items():
        file = PAGES / f"{name}.md"
        text = re.sub(r"\n{3,}", "\n\n", text).rstrip() + "\n"
        if not check:
            PAGES.mkdir(exist_ok=True)
            file.write_text(text)
        elif not file.exists() or file.read_text() != text:
            wrong.append(f"docs/reference/{name}.md is out of date: run docs/site/reference.py")
    print(*wrong, sep="\n", end="\n" if wrong else "")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
