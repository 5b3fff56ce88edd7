"""The shared-memory regions: their layouts are the same wherever they are written down."""

import re
import unittest
from typing import Any

from box import CONFIG_RECORD, DOCS, ROOT, STATUS_BLOCK

from fieldrelaybox.shared_memory import Structure

HEADERS = "".join(path.read_text() for path in (ROOT / "include" / "fieldrelaybox").glob("*.h"))
KINDS = {"char": ("s", "char"), "uint8_t": ("B", "u8"), "uint16_t": ("H", "u16"),
         "int16_t": ("h", "i16"), "uint32_t": ("I", "u32"), "int32_t": ("i", "i32"),
         "uint64_t": ("Q", "u64"), "double": ("d", "f64")}
"""Of a C type: what the tools and what the page call it."""
Row = tuple[int, str, str, int]
"""Offset, name, C type and, of an array, count."""


def header_rows() -> dict[str, list[Row]]:
    """Every member but the padding, by structure. One without an asserted offset is an error."""
    offsets = {match[:2]: int(match[2]) for match in
               re.findall(r"FIELDRELAYBOX_LAYOUT\((\w+), (\w+), (\d+)\);", HEADERS)}
    return {name: [(offsets[name, member], member, kind, int(count or 0)) for kind, member, count in
                   re.findall(r"^ {4}(\w+) (\w+)(?:\[(\d+)\])?;", body, re.M)
                   if not re.fullmatch(r"(reserved|pad)\d+", member)]
            for name, body in re.findall(r"^typedef struct (\w+) {(.*?)^}", HEADERS, re.M | re.S)}


class Layouts(unittest.TestCase):
    ROWS = header_rows()
    maxDiff = None

    def tool_kind(self, kind: str, count: int) -> tuple[Any, int]:
        if kind in KINDS:
            return f"{count or ''}{KINDS[kind][0]}", 0
        return Structure(tuple((name, self.tool_kind(inner, many)[0])
                               for _, name, inner, many in self.ROWS[kind])), count

    def test_the_tools_have_the_headers_fields(self) -> None:
        for name, prefix, layout in (("StatusBlock", "STATUS", STATUS_BLOCK),
                                     ("ConfigRecord", "CONFIG", CONFIG_RECORD)):
            expected = [(offset, member, *self.tool_kind(kind, count))
                        for offset, member, kind, count in self.ROWS[name]]
            fields = [(it.offset, it.name, it.kind, it.count) for it in layout.fields.values()]
            self.assertEqual(fields, expected)
            self.assertIn(f"FIELDRELAYBOX_{prefix}_SIZE = {layout.size}", HEADERS)
            self.assertIn(f'FIELDRELAYBOX_{prefix}_NAME "/{layout.name}"', HEADERS)

    def test_the_page_has_the_headers_fields(self) -> None:
        sections = re.split(r"^##+ .*: (\w+), \d+ bytes$",
                            (DOCS / "shared-memory.md").read_text(), flags=re.M)
        page = {name: re.findall(r"^\| (\d+) \| ([^|]+) \| `(\w+)` \|", text, re.M)
                for name, text in zip(sections[1::2], sections[2::2])}

        def shown(kind: str, count: int) -> str:
            return KINDS.get(kind, ("", kind))[1] + (f"[{count}]" if count else "")
        expected = {name: [(str(offset), shown(kind, count), member)
                           for offset, member, kind, count in rows]
                    for name, rows in self.ROWS.items()}
        self.assertEqual(page, expected)


if __name__ == "__main__":
    unittest.main()
