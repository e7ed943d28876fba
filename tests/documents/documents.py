#!/usr/bin/python3
"""What stands in the fences of the documents, for the tests that compile or run it.

usage: documents.py check                 every fence is of a kind that some test takes, their ./dev verbs exist,
                                          and the pages that claim to be complete are
       documents.py programs FOLDER       the C++ in them and in the public headers as programs, and a list of their
                                          names
       documents.py first-program FOLDER  the pieces of docs/getting-started.md as files
       documents.py session DOCUMENT      the session that it shows
       documents.py shell DOCUMENT        the lines for the shell that it shows
"""

import pathlib
import re
import sys
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
GETTING_STARTED = ROOT / "docs" / "getting-started.md"
FENCE = re.compile(r"(?:^`([\w.]+)`:\n\n)?^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)

# Documents whose fences have a test of their own, whatever their language.
OWN_TESTS = {"docs/simulator.md": "tst_SimulatorDocument", "docs/protocol.md": "tst_ProtocolDocument"}
# C++ in any of the others is compiled, and run where it ends: document_*. What else stands where has these tests.
TESTS = {
    ("README.md", "console"): "document_session",
    ("README.md", "sh"): "document_fences",
    ("CONTRIBUTING.md", "sh"): "document_fences",
    ("docs/getting-started.md", "sh"): "installed, ./dev package --check",
    ("docs/getting-started.md", "cmake"): "installed, ./dev package --check",
    ("docs/getting-started.md", "console"): "installed, ./dev package --check",
    ("docs/compatibility.md", "sh"): "replaced_library",
}

INCLUDES = """#include <DeviceReply.h>
#include <DeviceSession.h>
#include <DeviceTransfer.h>

#include <QCoreApplication>
#include <QDebug>
"""


# What an example of a header may use without making it.
HEADER_EXAMPLE = """#include <DeviceReply.h>
#include <DeviceSession.h>
#include <KVTServerMessageOldProxy.h>
#include <PackageRequestReadData.h>

#include <QDeadlineTimer>
#include <QDebug>

int example({parameters})
{{
{body}return 0;
}}

int main()
{{
return 0;
}}
"""
PARAMETERS = {"proxy": "KVTServerMessageOldProxy &", "session": "DeviceSession &"}


class Block(NamedTuple):
    document: str
    title: str  # the file name that stands before it
    language: str
    text: str


def documents():
    folders = [ROOT.glob("*.md"), (ROOT / "docs").rglob("*.md")]
    return sorted(path for folder in folders for path in folder)


def blocks(path):
    for title, language, text in FENCE.findall(path.read_text()):
        yield Block(str(path.relative_to(ROOT)), title, language, text)


def all_blocks():
    return [block for path in documents() for block in blocks(path)]


def program_of(text):
    """A whole program: a fragment becomes the body of one."""
    if "int main(" in text:
        return text
    includes = "".join(re.findall(r"^#include .*\n", text, re.MULTILINE))
    body = re.sub(r"^#include .*\n", "", text, flags=re.MULTILINE)
    end = "" if "return QCoreApplication::exec();" in body else "return QCoreApplication::exec();\n"
    return (f"{INCLUDES}{includes}\nint main(int argc, char **argv)\n{{\n"
            f"QCoreApplication application(argc, argv);\n{body}{end}}}\n")


def header_examples():
    """What stands between \\code and \\endcode in the headers, by the header's name."""
    for folder in ("interface", "proxy", "session", "worker"):
        for header in sorted((ROOT / folder).rglob("*.h")):
            for text in re.findall(r"^/// \\code\n(.*?)^/// \\endcode$", header.read_text(), re.MULTILINE | re.DOTALL):
                yield header.stem, re.sub(r"^/// ?", "", text, flags=re.MULTILINE)


def program_of_example(text):
    made = set(re.findall(r"^\w+ (\w+);$", text, re.MULTILINE))
    used = [name for name in PARAMETERS if re.search(rf"\b{name}\b", text) and name not in made]
    return HEADER_EXAMPLE.format(parameters=", ".join(PARAMETERS[name] + name for name in used), body=text)


def write_if_changed(target, text):
    if not target.exists() or target.read_text() != text:
        target.write_text(text)


def write_programs(folder):
    folder.mkdir(parents=True, exist_ok=True)
    names = []
    for header, text in header_examples():
        name = f"document_header_{header.lower()}"
        write_if_changed(folder / f"{name}.cpp", program_of_example(text))
        names.append(f"{name}:endless")
    for block in all_blocks():
        if block.language != "cpp":
            continue
        stem = pathlib.Path(block.document).stem.lower().replace("-", "_")
        name = f"document_{stem}_{sum(1 for each in names if each.startswith(f'document_{stem}_')) + 1}"
        program = program_of(block.text)
        write_if_changed(folder / f"{name}.cpp", program)
        # One that never quits is compiled only.
        names.append(name if re.search(r"::(quit|exit)\(", program) else f"{name}:endless")
    print(";".join(names), end="")


def write_first_program(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for block in blocks(GETTING_STARTED):
        if block.title:
            (folder / block.title).write_text(block.text)
        elif block.language == "console":
            (folder / "session.txt").write_text(block.text)
        elif "apt install" in block.text:
            (folder / "install.sh").write_text(block.text)
        elif "pkg-config" in block.text:
            (folder / "pkg-config.sh").write_text(block.text)


def print_blocks(document, language):
    print("".join(block.text for block in blocks(ROOT / document) if block.language == language), end="")


def missing_log_texts():
    """Each text that the library logs stands in docs/errors.md."""
    page = (ROOT / "docs" / "errors.md").read_text()
    for folder in ("foundation", "transport", "worker", "proxy", "session"):
        for source in sorted((ROOT / folder).iterdir()):
            code = source.read_text() if source.suffix in (".cpp", ".h") else ""
            calls = re.findall(r"Log::(?:debug|info|warning|critical)\((.*?)\);", code, re.DOTALL)
            calls += re.findall(r'"[^"]* not support"', code)
            for call in calls:
                # Literals that the compiler joins are one.
                for text in re.findall(r'"((?:[^"\\]|\\.|"\s*")*)"', call):
                    text = re.sub(r'"\s*"', "", text)
                    if not re.search(rf"^\|[^\n]*`[^`\n]*{re.escape(text)}", page, re.MULTILINE):
                        yield f"docs/errors.md: {source.name} logs \"{text}\""


def missing_sentences():
    """Each sentence of an error stands in docs/errors.md."""
    page = (ROOT / "docs" / "errors.md").read_text()
    for source in sorted((ROOT / "session").glob("*.cpp")):
        for literal in re.findall(r'(?:\btr|QT_TR_NOOP)\(((?:\s*"(?:[^"\\]|\\.)*")+)', source.read_text()):
            sentence = re.sub(r'"\s*"', "", literal.strip())[1:-1].replace('\\"', '"')
            if re.sub(r"%\d", "…", sentence) not in page:
                yield f"docs/errors.md: {source.name} says \"{sentence}\""


def missing_operations():
    """Each operation of the proxy stands in docs/threads.md."""
    page = (ROOT / "docs" / "threads.md").read_text()
    generated = {"metaObject", "qt_metacall", "qt_metacast"}
    for library, header in (("libksproxyoldclient", "proxy/KVTServerMessageOldProxy.h"),
                            ("libksproxyclient", "interface/ksproxyclient/KsProxyTools.h"),
                            ("libksproxyinterface", "interface/ksproxyinterface/IKVTServerBaseProxy.h"),
                            ("libksproxysession", "session/DeviceSession.h")):
        exported = (ROOT / "abi" / f"{library}.map").read_text()
        name = pathlib.Path(header).stem
        signals = (ROOT / header).read_text().partition("Q_SIGNALS:")[2]
        for operation in sorted(set(re.findall(rf'"{name}::(\w+)\(', exported)) - generated - {name}):
            is_signal = re.search(rf"\b{operation}\(", signals)
            if not is_signal and not re.search(rf"`(?:\w+::)?{operation}`", page):
                yield f"docs/threads.md: {name}::{operation} is missing"


def missing_files():
    """What a document names or links is there."""
    for path in documents():
        for name in re.findall(r"`((?:[\w.]+/)+[\w.*]+\.(?:cpp|h|py|sh|json|map|md|txt))`", path.read_text()):
            if not any(ROOT.glob(name)):
                yield f"{path.relative_to(ROOT)}: there is no {name}"
        for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", path.read_text()):
            if not (path.parent / link).exists():
                yield f"{path.relative_to(ROOT)}: there is no {link}"
        for name in re.findall(r"`(tst_\w+)`", path.read_text()):
            if not (ROOT / "tests" / f"{name}.cpp").exists():
                yield f"{path.relative_to(ROOT)}: there is no test {name}"


def hidden_code():
    """Code in a form that the tests do not see."""
    for path in documents():
        text = FENCE.sub("", path.read_text())
        for line in re.findall(r"^(?:~~~|```|\t| {4,}(?![-*|]|\d+\.)).*", text, re.MULTILINE):
            yield f"{path.relative_to(ROOT)}: code that no test sees: {line.strip()}"


def check():
    problems = [*missing_log_texts(), *missing_sentences(), *missing_operations(), *missing_files(), *hidden_code()]
    verbs = set(re.findall(r"^  (\w+)", (ROOT / "dev").read_text().split("TEXT")[1], re.MULTILINE))
    for block in all_blocks():
        where = f"{block.document}: ```{block.language} {block.text.splitlines()[0]}"
        is_tested = (block.language == "cpp" or block.document in OWN_TESTS
                     or (block.document, block.language) in TESTS)
        if not is_tested:
            problems.append(f"{where}: no test takes it")
        for verb in re.findall(r"\./dev (\w+)", block.text):
            if verb not in verbs:
                problems.append(f"{where}: ./dev has no verb {verb}")
    if problems:
        sys.exit("\n".join(problems))


def main():
    arguments = sys.argv[1:]
    if arguments == ["check"]:
        check()
    elif len(arguments) == 2 and arguments[0] == "programs":
        write_programs(pathlib.Path(arguments[1]))
    elif len(arguments) == 2 and arguments[0] == "first-program":
        write_first_program(pathlib.Path(arguments[1]))
    elif len(arguments) == 2 and arguments[0] == "session":
        print_blocks(arguments[1], "console")
    elif len(arguments) == 2 and arguments[0] == "shell":
        print_blocks(arguments[1], "sh")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
