"""Writes the table of docs/agent.md from behaviour.toml: behaviour_table.py [--check] BEHAVIOUR.toml PAGE.md

With --check nothing is written; exit status 1 says that the page is not what it would be."""
import sys
import tomllib

BEGIN, END = "<!-- behaviour -->", "<!-- end of behaviour -->"
MOST_FIELDS = 5
KINDS = {"applied": "applied", "reported": "reported", "not_expressible": "not expressible"}


def table(messages):
    lines = ["| message | | what happens | of no effect, or not known |", "|---|---|---|---|"]
    for message in messages:
        kind = next(kind for kind in KINDS if kind in message)
        absent = [] if kind == "not_expressible" else [f"`{field}`" for field in message.get("absent", {})]
        if len(absent) > MOST_FIELDS:
            absent[MOST_FIELDS - 1:] = [f"and {len(absent) - MOST_FIELDS + 1} more"]
        lines.append(f"| `{message['name']}` | {KINDS[kind]} | {message[kind]} | {', '.join(absent)} |")
    return "\n".join(lines)


def main(arguments):
    check = "--check" in arguments
    behaviour, page = [argument for argument in arguments if argument != "--check"]
    with open(behaviour, "rb") as file:
        messages = tomllib.load(file)["message"]
    with open(page, encoding="utf-8") as file:
        text = file.read()
    before, _, rest = text.partition(BEGIN)
    _, _, after = rest.partition(END)
    wanted = f"{before}{BEGIN}\n\n{table(messages)}\n\n{END}{after}"
    if check and wanted != text:
        sys.exit(f"{page} is older than {behaviour}: run {sys.argv[0]} {behaviour} {page}")
    if not check:
        with open(page, "w", encoding="utf-8") as file:
            file.write(wanted)


main(sys.argv[1:])
