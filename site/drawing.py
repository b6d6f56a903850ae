"""Draws the bytes of a record as words of 32 bits, one line each."""

BYTES, CELL = 4, 16
WIDEST = 4  # rows of one item; more are drawn as a row of dots

HEAD = [" 0                   1                   2                   3",
        " " + " ".join(str(bit % 10) for bit in range(32))]


def rows_of(items):
    """Lists of (item, bytes), four bytes each; what has no fixed width has rows of its own."""
    rows, row, room = [], [], BYTES
    for item in items:
        width = item["width"]
        if width is None:
            if row:
                rows.append(row)
            rows.append([(item, BYTES)])
            row, room = [], BYTES
            continue
        inner = max(0, (width - room) // BYTES - WIDEST)
        item["left_out"] = inner * BYTES
        width -= inner * BYTES
        while width > 0:
            part = min(width, room)
            row.append((item, part))
            width -= part
            room -= part
            if room == 0:
                rows.append(row)
                row, room = [], BYTES
    return rows + [row] * bool(row)


def label(item, width):
    """An item's name, what does not fit being named by its offset."""
    text = item["name"] if item["width"] is not None else f"{item['name']} (n bytes)"
    return text if len(text) < width * CELL else "@" + item["offset"]


def border(above, below):
    """The line between two rows: open where an item goes on."""
    line = "+"
    upper, lower = ([item for item, width in row for _ in range(width)] for row in (above, below))
    for column in range(max(len(upper), len(lower))):
        pair = [cells[column] if column < len(cells) else None for cells in (upper, lower)]
        line += "               +" if pair[0] is pair[1] else "-+" * 8
    return line


def draw(items):
    """The lines of a drawing of items: dictionaries of name, width in bytes (None: any), offset as text."""
    rows = rows_of(items)
    named = set()
    lines = list(HEAD)
    for above, row in zip([[]] + rows, rows):
        line = "|"
        lines.append(border(above, row))
        for item, width in row:
            widest = max((part for each in rows for same, part in each if same is item), default=0)
            text = ""
            if id(item) not in named and width == widest:
                named.add(id(item))
                text = label(item, width)
            elif width == BYTES and item.get("left_out") and (id(item), 0) not in named:
                named.add((id(item), 0))
                text = f"... {item['left_out']} bytes more"
            line += text.center(width * CELL - 1) + "|"
        lines.append(line)
    return [line.rstrip() for line in lines + [border(rows[-1], [])]]
