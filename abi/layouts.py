#!/usr/bin/python3
"""What a description of a library says, one line for each thing that must stay: the size of each class, the offset
and the type of each member, the number of each enumerator, the type that each operation returns. abidiff leaves out
what no exported operation leads to, such as the values in a table, and a type that takes another's place where both
are of the same size, as QString and QByteArray are.

usage: layouts.py DESCRIPTION
"""

import sys
import xml.etree.ElementTree

MADE_OF = {"pointer-type-def": "*", "reference-type-def": "&", "qualified-type-def": " const"}


def type_names(root):
    """A function from the identity of a type to its name."""
    elements = {each.get("id"): each for each in root.iter() if each.get("id")}

    def name(identity):
        each = elements[identity]
        if each.tag == "typedef-decl" and each.get("type-id") in elements:
            return name(each.get("type-id"))
        if each.tag in MADE_OF:
            return name(each.get("type-id")) + MADE_OF[each.tag]
        return each.get("name", each.tag)

    return name


def lines(root):
    type_name = type_names(root)
    for each in root.findall("abi-instr/class-decl") + root.findall("abi-instr/namespace-decl/class-decl"):
        # Made of ours, but not ours; or the compiler's.
        if each.get("size-in-bits") is None or "<" in each.get("name") or " " in each.get("name"):
            continue
        yield f"{each.get('name')}: {each.get('size-in-bits')} bits"
        for member in each.findall("data-member"):
            if member.get("layout-offset-in-bits") is not None:
                yield (f"{each.get('name')}::{member[0].get('name')} at bit {member.get('layout-offset-in-bits')}: "
                       + type_name(member[0].get("type-id")))
    for each in root.iter("enum-decl"):
        for enumerator in each.findall("enumerator"):
            yield f"{each.get('name')}::{enumerator.get('name')} = {enumerator.get('value')}"
    for each in root.iter("function-decl"):
        if each.get("elf-symbol-id"):
            yield f"{each.get('elf-symbol-id')} returns {type_name(each.find('return').get('type-id'))}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print("\n".join(sorted(set(lines(xml.etree.ElementTree.parse(sys.argv[1]).getroot())))))


if __name__ == "__main__":
    main()
