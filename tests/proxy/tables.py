"""Files of rows, and what stands in their texts for something else."""

import pathlib
import re


def unescaped(text):
    return text.encode("latin-1").decode("unicode_escape")


def filled(text, **values):
    """`text` with each value where its name stands between two @."""
    return re.sub(r"@(\w+)@", lambda mark: str(values[mark[1]]), text)


def table(name):
    """Of a file of rows beside this one: section, name and bytes of each."""
    section = ""
    for line in (pathlib.Path(__file__).parent / name).read_text().splitlines():
        if line.startswith("["):
            section = line.strip("[]")
        elif line and not line.startswith("#"):
            title, _, text = line.partition(" |")
            yield section, title, text[1:]


def request_rows(port):
    """The rows of requests.txt, addressed to a relay on `port`."""
    for section, title, text in table("requests.txt"):
        head, _, body = text.partition(" || ")
        lines = ["Host: @RELAY@" if line == "@" else line for line in head.split(" | ")]
        request = filled("\r\n".join([*lines, "", body]), RELAY=f"127.0.0.1:{port}", PORT=port)
        yield section, title, unescaped(request)
