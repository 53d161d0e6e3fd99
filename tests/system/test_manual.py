"""The pages of the manual: installed, without complaints, and of one mind with the programs."""
import json
import re
import subprocess

import pytest

from world import PATIENCE_S, PREFIX, PROJECT, words_that_start

PAGES = {"poectl": 1, "libpoe_client": 3, "poectl-json": 5, "poe_drv-protocol": 7, "poe_drv": 8}
# What the pages' writer leaves behind, and what no reader sees.
HARMLESS = re.compile(r"skipping paragraph macro: PP")
INDENT_OF_OPTIONS, INDENT_OF_COMMANDS = 7, 3


def file_of(name):
    return PREFIX / f"share/man/man{PAGES[name]}/{name}.{PAGES[name]}"


def shown(name):
    """The page as a reader sees it, without emphasis."""
    page = subprocess.run(["mandoc", "-Tutf8", "-Owidth=200", file_of(name)], capture_output=True, text=True, check=True)
    return re.sub(".\b", "", page.stdout)


def section(name, title):
    """The lines of a section."""
    found = re.search(rf"^{title}\n(.*?)(?=^\S|\Z)", shown(name), re.MULTILINE | re.DOTALL)
    assert found, f"{name} has no {title}"
    return found.group(1).splitlines()


def squeezed(text):
    return " ".join(text.split())


# --- the pages --------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("name", PAGES)
def test_a_page_is_installed_and_nothing_is_wrong_with_it(name):
    lint = subprocess.run(["mandoc", "-Tlint", "-Wwarning", file_of(name)], capture_output=True, text=True, check=False)
    assert [line for line in lint.stdout.splitlines() if not HARMLESS.search(line)] == []
    assert squeezed(section(name, "NAME")[0]).startswith(f"{name} - ")


@pytest.mark.parametrize("name", PAGES)
def test_a_page_names_only_pages_that_are_there(name):
    others = re.findall(r"\\fB([\w-]+)\\fR\((\d)\)", file_of(name).read_text())
    assert others
    for other, number in others:
        assert PAGES.get(other) == int(number), f"{other}({number})"


def test_the_page_of_the_protocol_has_every_message_of_the_document():
    rows = re.findall(r"^\| (\d+) \| ([^|]*) \| (any|\d+) \| \**(\d+)\** \| (\d+) \|",
                      (PROJECT / "docs/ipc-protocol.md").read_text(), re.MULTILINE)
    assert len(rows) == 25
    text = shown("poe_drv-protocol")
    for kind, what, length, reply, reply_length in rows:  # a long name goes on in the next line
        begins = re.escape(" ".join(what.split()[:3]))
        assert re.search(rf"│{kind} *│ {begins}[^│]*│ {length} *│ {reply} *│ {reply_length} *│", text), what


def test_the_page_of_the_json_has_the_keys_of_every_command():
    schema = json.loads((PREFIX / "share/poe_drv/poectl.schema.json").read_text())
    table = re.search(r"\[\[ \*command\*(.*?)\n\n", (PROJECT / "man/poectl-json.5.scd").read_text(), re.DOTALL).group(1)
    told = {}
    for commands, keys in re.findall(r"\|  (.*)\n:  (.*)", table):
        for command in commands.split(", "):
            told[command] = [re.match(r"\w+", key).group() for key in re.sub(r": .*?(?=$)", "", keys).split(", ")]
    known = {}
    for command in filter(None, schema["$defs"]["document"]["properties"]["command"]["enum"]):
        keys = schema["$defs"]["document_of_" + command.replace(" ", "_")]["required"]
        known[command] = [key for key in keys if key not in ("schema_version", "command", "error")]
    assert told == known


# --- the library ------------------------------------------------------------------------------------------------------

HEADERS = PREFIX / "include/poe_client"


def functions_of_c():
    return set(re.findall(r"^POE_CLIENT_API .*?\b(poe_client_\w+)\(", (HEADERS / "poe_client.h").read_text(), re.MULTILINE))


def test_the_page_of_the_library_has_every_function():
    text = squeezed(" ".join(section("libpoe_client", "FUNCTIONS")))
    told = set(re.findall(r"\bpoe_client_\w+[a-z]\b", text))
    functions = functions_of_c()
    assert told == {name for name in functions if "_begin_" not in name}
    # What can be begun is every query and every setting, each told there.
    requests = set(re.findall(r"\bpoe_client_(\w+)", " ".join(under(title) for title in ("Queries", "Settings"))))
    requests.remove("seconds_until_on")
    assert {f"poe_client_begin_{name}" for name in requests} == {name for name in functions if "_begin_" in name}
    assert "poe_client_begin_NAME, which sends and returns at once" in text


def under(title):
    """The text below a heading of the functions."""
    text = "\n".join(section("libpoe_client", "FUNCTIONS"))
    return re.search(rf"^   {title}\n(.*?)(?=^   \S|\Z)", text, re.MULTILINE | re.DOTALL).group(1)


def test_a_query_and_a_setting_have_one_name_in_all_three_languages():
    of_python = (PREFIX / "lib/python3/dist-packages/poe_client/connection.py").read_text()
    of_c_plus_plus = (HEADERS / "requests.h").read_text()
    names = [name.partition("_begin_")[2] for name in functions_of_c() if "_begin_" in name]
    assert len(names) == 25
    for name in names:
        for each in (name, f"begin_{name}"):
            assert re.search(rf" {each}\(connection& daemon", of_c_plus_plus.replace("(\n    ", "(")), each
            assert f"    def {each}(self" in of_python, each


def test_the_page_of_the_library_has_every_error():
    enumerators = re.search(r"enum poe_client_error \{(.*?)\}", (HEADERS / "poe_client.h").read_text(), re.DOTALL).group(1)
    of_c = set(re.findall(r"(POE_CLIENT_\w+) = [1-9]", enumerators))
    kinds = set(re.findall(r"^    (\w+),", (HEADERS / "result.h").read_text(), re.MULTILINE)) - {"none"}
    of_python = set(re.findall(r"^class (\w+)\(PoeError\b",
                               (PREFIX / "lib/python3/dist-packages/poe_client/errors.py").read_text(), re.MULTILINE))
    told = set(" ".join(section("libpoe_client", "ERRORS")).replace(",", " ").split())
    assert {word for word in told if word.startswith("POE_CLIENT_")} == of_c
    assert kinds <= told and of_python <= told and len(of_python) == len(of_c)


def test_the_page_of_the_library_shows_the_units_as_they_are_in_the_names():
    text = squeezed(" ".join(section("libpoe_client", "DESCRIPTION")))
    for unit in ("_mw", "_w", "_wh", "_mv", "_ma", "_mc", "_s", "_ms", "_tick"):
        assert re.search(rf"(?<!\w){unit}\b", text), unit


# --- the command ------------------------------------------------------------------------------------------------------


def helped(*words):
    run = subprocess.run([*words_that_start(PREFIX / "bin/poectl"), *words, "--help"], capture_output=True, text=True,
                         timeout=PATIENCE_S, check=True)
    return run.stdout


def entries(lines, indent):
    """What stands at an indent, each with what stands deeper below it (or, in the help, far to its right)."""
    found = {}
    name = None
    for line in lines:
        if re.match(rf" {{{indent}}}\S", line):
            name, _, text = line.strip().partition("  ")
            found[name] = squeezed(text)
        elif name is not None and line.strip():
            found[name] = squeezed(found[name] + " " + line)
    return found


def parts_of_help(text):
    """description, usage, what can stand behind the command, and the commands below it."""
    description, rest = text.split("Usage: ", 1)
    usage, rest = rest.split("\n", 1)
    groups = dict(re.findall(r"^([A-Z][A-Za-z ]*):\n((?: .*\n)+)", rest, re.MULTILINE))
    groups.pop("Examples", None)
    options = {}
    for group in ("Positionals", "Options"):
        options.update(entries(groups.pop(group, "").splitlines(), 2))
    commands = [name for group in groups.values() for name in entries(group.splitlines(), 2)]
    return squeezed(description), usage.removesuffix(" [OPTIONS]"), options, commands


def commands_of_help(words=()):
    """usage: (description, options), of every command."""
    description, usage, options, commands = parts_of_help(helped(*words))
    found = {usage: (description, options)}
    for command in commands:
        inner = [*words, *(["1"] if words == ("port",) else []), command]
        found.update(commands_of_help(tuple(inner) if words != () else (command,)))
    return found


def commands_of_page():
    """The same, as the page has it."""
    found = {}
    usage, lines = None, []

    def finish():
        if usage is not None:
            described = [line for line in lines if line.strip()]
            first = next((i for i, line in enumerate(lines) if not line.strip()), len(lines))
            options = {name: text for name, text in entries(lines[first:], INDENT_OF_OPTIONS).items()
                       if re.match(r"-|[A-Z]+( |$)", name)}
            found[usage] = (squeezed(" ".join(described)), options)

    for line in section("poectl", "COMMANDS"):
        if re.match(rf" {{{INDENT_OF_COMMANDS}}}\S", line):
            finish()
            usage, lines = line.strip(), []
        else:
            lines.append(line)
    finish()
    return found


def test_help_and_page_have_the_same_commands():
    assert sorted(commands_of_help()) == sorted([*commands_of_page(), "poectl COMMAND"])


def test_help_and_page_have_the_same_options_with_the_same_words():
    told, page = commands_of_help(), commands_of_page()
    for usage, (description, options) in told.items():
        if usage == "poectl COMMAND":
            here = entries(section("poectl", "OPTIONS"), INDENT_OF_OPTIONS)
            here = {name.replace("-h, --help", "-h,--help"): text for name, text in here.items() if name.startswith("-")}
        else:
            text, here = page[usage]
            assert text.startswith(description), usage
            options.pop("-h,--help")
        assert sorted(options) == sorted(here), usage
        for name, text in options.items():
            assert here[name].startswith(text), f"{usage}: {name}"


def test_help_and_page_have_the_same_exit_statuses():
    told = re.search(r"Exit status: (.*?)\.\n", helped(), re.DOTALL).group(1)
    told = dict(re.findall(r"(\d) (.*?)(?:, (?=\d)|$)", squeezed(told)))
    page = {name: text for name, text in entries(section("poectl", "EXIT STATUS"), INDENT_OF_OPTIONS).items()
            if name.isdigit()}
    assert sorted(told) == sorted(page) == [str(number) for number in range(8)]
    for number, meaning in told.items():
        assert page[number].replace("; nothing", ", nothing").startswith(meaning), number
