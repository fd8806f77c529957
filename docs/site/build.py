#!/usr/bin/env python3
"""Makes the site: a page for each Markdown file of the documentation, and the pictures of the
reference. Ends with an error when a link leads nowhere.

    build.py ZYL PICTURES FOLDER

ZYL and PICTURES are the programs zyl and docs_pictures, FOLDER is where the site goes.
"""
import concurrent.futures
import html
import html.parser
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import urllib.parse

import markdown

ROOT = pathlib.Path(__file__).resolve().parents[2]
SITE = ROOT / "docs/site"
sys.path.insert(0, str(ROOT / "operations"))
OPERATIONS = json.loads((ROOT / "operations/operations.json").read_text())["operations"]
COMMANDS = json.loads((SITE / "pictures.json").read_text())

# The pages in their order.
GUIDE = ["README", "first-picture", "images", "regions", "borders", "tiles", "larger-than-memory", "errors",
         "threads", "in-place", "bitmaps", "transforms", "colour", "compositing", "exactness",
         "embedding", "cpp", "python", "javascript", "formats"]
REFERENCE = ["README", "gallery", "rules", "status", "images", "arithmetic", "logic", "copy",
             "convert", "filter", "geometry", "transform", "statistics", "alpha"]
OTHERS = ["docs/speed.md", "docs/building.md", "docs/architecture.md", "operations/README.md",
          "docs/selftest.md", "CONTRIBUTING.md", "CHANGELOG.md"]


def listed():
    groups = [("Guide", [f"docs/guide/{each}.md" for each in GUIDE]),
              ("Reference", [f"docs/reference/{each}.md" for each in REFERENCE]),
              ("For developers", OTHERS)]
    groups = [(title, [page for page in pages if (ROOT / page).exists()]) for title, pages in groups]
    known = {page for _, pages in groups for page in pages}
    others = {str(each.relative_to(ROOT)) for each in (ROOT / "docs").rglob("*.md")} - known
    groups[-1][1].extend(sorted(others))
    return groups


def address(page):
    """Where a page of the repository stands in the site."""
    if page == "README.md":
        return "index.html"
    path = page.removeprefix("docs/").removesuffix(".md")
    return re.sub(r"README$", "index", path) + ".html"


def title_of(page):
    return re.search(r"^# (.*)$", (ROOT / page).read_text(), flags=re.M)[1]


# ---- pictures ----------------------------------------------------------------------------


class Pictures:
    """The pictures of the reference, made by zyl."""

    def __init__(self, zyl, folder):
        self.zyl = zyl
        self.folder = folder

    def run(self, *words):
        done = subprocess.run([self.zyl, *words], cwd=self.folder, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"zyl {' '.join(words)}: {done.stderr}")
        return done.stdout

    def start(self, program):
        self.folder.mkdir(parents=True)
        subprocess.run([program, self.folder], check=True)
        for each in sorted(self.folder.glob("*.ppm")):
            self.run(each.name, each.stem + ".png")
            each.unlink()
        self.run("chart", "chart.png")
        self.run("chart.png", "crop:x=16,y=128,width=200,height=200", "rings.png")
        self.run("scene.png", "decimate:factor=1/3", "thumb.png")
        self.run("scene.png", "bitmap.bmp", "--colors", "16", "--palette", "median-cut")
        self.run("bitmap.bmp", "bitmap.png")
        (self.folder / "bitmap.bmp").unlink()
        # A disc that is transparent around its edge.
        self.logo()

    def logo(self):
        """The disc with its mask as alpha channel, by the one format that has four channels in
        plain rows."""
        color = self.rows("disc.png", "P6")
        alpha = self.rows("mask.png", "P5", "gray")
        pixels = b"".join(color[3 * i:3 * i + 3] + alpha[i:i + 1] for i in range(len(alpha)))
        head = b"P7\nWIDTH 360\nHEIGHT 240\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
        (self.folder / "logo.pam").write_bytes(head + pixels)
        self.run("logo.pam", "logo.png")
        (self.folder / "logo.pam").unlink()

    def rows(self, name, magic, *steps):
        target = self.folder / ("rows.ppm" if magic == "P6" else "rows.pgm")
        self.run(name, *steps, target.name)
        content = target.read_bytes()
        target.unlink()
        count = 360 * 240 * (3 if magic == "P6" else 1)
        return content[-count:]

    def make(self, operation):
        """Before and after of an operation, as (file, caption): a row of the photograph, and one
        of the rings of the chart where these show more."""
        name, entry = operation["name"], COMMANDS[operation["name"]]
        if "made" in entry:  # by docs_pictures, since zyl does not call it
            return [[("bitmap.png", "a bitmap of 16 colours"), (f"{name}.png", entry["made"])]]
        rows = [self.of("scene", name, entry)]
        if "second" not in entry and operation["family"] in ("filter", "geometry", "transform"):
            if "crop" in entry.get("before", ""):
                entry = {**entry, "before": "crop:x=60,y=60,width=80,height=80"}
            rows.append(self.of("rings", f"{name}-rings", entry))
        return rows

    def of(self, source, name, entry):
        before, shown = f"{source}.png", []
        if "before" in entry:
            before = f"{name}-before.png"
            self.run(f"{source}.png", *shlex.split(entry["before"]), *self.visible(entry["before"]),
                     before)
        shown.append((before, "before"))
        steps = entry["steps"]
        if "second" in entry:
            second = entry["second"] + ".png"
            if "secondSteps" in entry:
                self.run(second, *shlex.split(entry["secondSteps"]), f"{name}-second.png")
                second = f"{name}-second.png"
                steps = steps.replace("second.png", second)
            shown.append((second, "second picture"))
        words = shlex.split(steps)
        if entry.get("prints"):
            shown.append((None, self.run(f"{source}.png", *words).strip()))
            return shown
        after = f"{name}.{entry.get('format', 'png')}"
        chain = [f"{source}.png", *shlex.split(entry.get("before", "")), *words]
        self.run(*chain, *self.visible(" ".join(chain)), after, *entry.get("options", "").split())
        if after.endswith(".bmp"):
            self.run(after, f"{name}.png")
            (self.folder / after).unlink()
        return shown + [(f"{name}.png", entry.get("after", "after"))]

    @staticmethod
    def visible(steps):
        """Signed pictures and other models of color are shown as bytes."""
        return ["convert:depth=8u"] if "convert:depth=8s" in steps else []


def figures(zyl, program, folder):
    pictures = Pictures(zyl, folder)
    pictures.start(program)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        made = list(pool.map(pictures.make, OPERATIONS))
    return dict(zip((each["name"] for each in OPERATIONS), made))


def figure(row):
    parts = []
    for file, caption in row:
        picture = f'<img src="../pictures/{file}" alt="{caption}" loading="lazy">' if file else \
            f"<pre>{html.escape(caption)}</pre>"
        parts.append(f'<div>{picture}<span class="caption">{html.escape(caption) if file else "prints"}'
                     "</span></div>")
    return f'<figure>{"".join(parts)}</figure>'


def gallery(family, made):
    cells = []
    for each in OPERATIONS:
        if each["family"] == family:
            file = made[each["name"]][0][-1][0] or "scene.png"
            cells.append(f'<a href="{family}.html#{each["function"].lower()}">'
                         f'<img src="../pictures/{file}" alt="{each["help"]}" loading="lazy">'
                         f'{each["name"]}</a>')
    return f'<div class="gallery">{"".join(cells)}</div>'


# ---- pages -------------------------------------------------------------------------------


class Site:
    def __init__(self, folder, made):
        self.folder = folder
        self.made = made
        self.groups = listed()
        self.pages = {"README.md"} | {page for _, pages in self.groups for page in pages}

    def link(self, target, page):
        """A link of a page of the repository, in the site. Files that are no pages come along."""
        parts = urllib.parse.urlsplit(target)
        if parts.scheme or not parts.path:
            return target
        path = os.path.normpath(os.path.join(os.path.dirname(page), parts.path))
        if (ROOT / path / "README.md").exists():
            path += "/README.md"
        if path in self.pages:
            to = address(path)
        elif (ROOT / path).is_file():
            text = pathlib.Path(path).suffix not in (".png", ".svg")
            to = "files/" + path + (".txt" if text else "")
            (self.folder / to).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(ROOT / path, self.folder / to)
        else:
            return target  # the check tells
        relative = os.path.relpath(to, os.path.dirname(address(page)) or ".")
        return relative + (f"#{parts.fragment}" if parts.fragment else "")

    def navigation(self, page):
        def item(each):
            to = os.path.relpath(address(each), os.path.dirname(address(page)) or ".")
            here = ' aria-current="page"' if each == page else ""
            name = {"docs/reference/README.md": "All functions",
                    "docs/guide/README.md": "Overview"}.get(each) or title_of(each)
            return f'<li><a href="{to}"{here}>{html.escape(name)}</a></li>'
        home = os.path.relpath("index.html", os.path.dirname(address(page)) or ".")
        groups = "".join(f"<h2>{title}</h2><ul>{''.join(map(item, pages))}</ul>"
                         for title, pages in self.groups)
        return f'<details open><summary><a class="name" href="{home}">zylqx</a></summary>{groups}</details>'

    def body(self, page):
        text = (ROOT / page).read_text()
        made = markdown.markdown(text, output_format="html", extensions=[
            "tables", "fenced_code", "toc", "sane_lists", "codehilite"], extension_configs={
                "codehilite": {"guess_lang": False}})
        made = re.sub(r'(href|src)="([^"]+)"',
                      lambda m: f'{m[1]}="{self.link(m[2], page)}"', made)
        made = re.sub(r"<!-- picture (\S+) -->", lambda m: "".join(map(figure, self.made[m[1]])), made)
        made = re.sub(r"<!-- gallery (\S+) -->\s*<p>.*?</p>",
                      lambda m: gallery(m[1], self.made), made, flags=re.S)
        made = re.sub(r"<!--.*?-->\n?", "", made, flags=re.S)
        return re.sub(r"<table>.*?</table>", lambda m: f'<div class="table">{m[0]}</div>', made,
                      flags=re.S)

    def write(self, page):
        target = self.folder / address(page)
        target.parent.mkdir(parents=True, exist_ok=True)
        style = os.path.relpath("style.css", os.path.dirname(address(page)) or ".")
        # On a narrow screen the list of pages is closed.
        target.write_text(f"""<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>{html.escape(title_of(page))} - zylqx</title>
<link rel="stylesheet" href="{style}">
</head>
<body>
<nav>{self.navigation(page)}</nav>
<script>if (innerWidth < 960) document.querySelector("nav details").open = false;</script>
<main>
{self.body(page)}
</main>
</body>
</html>
""")


# ---- check -------------------------------------------------------------------------------


class Links(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.links, self.places = set(), set()

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src"):
                self.links.add(value)
            elif name == "id":
                self.places.add(value)


def dead_links(folder):
    """Links between pages of the site that lead nowhere. Those to other places are not tried."""
    found = {}
    for page in folder.rglob("*.html"):
        found[page.resolve()] = links = Links()
        links.feed(page.read_text())
    dead = []
    for page, links in found.items():
        for link in links.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme:
                continue
            target = (page.parent / parts.path).resolve() if parts.path else page
            if not target.is_file() or parts.fragment and \
                    parts.fragment not in found.get(target, links).places:
                dead.append(f"{page.relative_to(folder.resolve())}: {link}")
    return sorted(dead)


def main():
    zyl, program = (os.path.abspath(each) for each in sys.argv[1:3])
    folder = pathlib.Path(sys.argv[3])
    shutil.rmtree(folder, ignore_errors=True)
    site = Site(folder, figures(zyl, program, folder / "pictures"))
    shutil.copyfile(SITE / "style.css", folder / "style.css")
    for page in sorted(site.pages):
        site.write(page)
    dead = dead_links(folder)
    print(*dead, sep="\n", end="\n" if dead else "")
    if dead:
        sys.exit(f"{len(dead)} dead links")
    print(f"{len(site.pages)} pages: {folder}/index.html")


main()
