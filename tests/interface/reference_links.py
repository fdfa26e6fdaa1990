#!/usr/bin/env python3
"""Checks the links of a folder of HTML pages: every local file exists, and every anchor in it.

usage: reference_links.py FOLDER
"""
import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.anchors = set()
        self.links = []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("id", "name") and value:
                self.anchors.add(value)
            elif name in ("href", "src") and value:
                self.links.append(value)


def main():
    folder = pathlib.Path(sys.argv[1])
    pages = {path.resolve(): Page(path) for path in folder.rglob("*.html")}
    broken = []
    links = 0
    for path, page in pages.items():
        for link in page.links:
            url = urllib.parse.urlsplit(link)
            if url.scheme or url.netloc:
                continue
            links += 1
            target = (path.parent / urllib.parse.unquote(url.path)).resolve() if url.path else path
            anchor = urllib.parse.unquote(url.fragment)
            if not target.exists():
                broken.append(f"{path.name}: {link}: no such file")
            elif anchor and target in pages and anchor not in pages[target].anchors:
                broken.append(f"{path.name}: {link}: no such anchor")
    for line in sorted(set(broken)):
        print(line, file=sys.stderr)
    if links == 0:
        print(f"{folder}: no links at all", file=sys.stderr)
    if broken or links == 0:
        sys.exit(1)
    print(f"{links} links in {len(pages)} pages lead somewhere")


main()
