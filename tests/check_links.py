"""check_links.py ROOT: whether every link in the pages of the tree leads to a file that is there, and to a heading of it.

Writes a line for each link that does not, and ends with 1 when there is one.
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
pages = [page for place in ("*", "bench/*", "docs/**/*", "examples/**/*") for page in root.glob(place + ".md")]


def text_of(page):
    """Without the blocks of code."""
    return re.sub(r"^```.*?^```", "", page.read_text(encoding="utf-8"), flags=re.M | re.S)


def headings_of(page):
    """As links name them."""
    headings = re.findall(r"^#+ (.*)", text_of(page), re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


links = 0
wrong = 0
for page in pages:
    for link in re.findall(r"\]\(([^)\s]+)\)", text_of(page)):
        if link.startswith("https://"):
            continue
        links += 1
        path, _, heading = link.partition("#")
        target = page.parent / path if path else page
        if not target.exists() or (heading and heading not in headings_of(target)):
            print(f"{page.relative_to(root)}: nothing is at {link}")
            wrong += 1
if links == 0:
    sys.exit("no links at all")
sys.exit(1 if wrong else 0)
