"""Puts mutants into a source: all of them with a switch, or one of them for good. No line moves."""

from candidates import ON


def switched(text, mutants):
    """The text with every one of the (number, mutant) pairs behind its switch."""
    pieces = []
    for number, mutant in mutants:
        question = f"trelMutant({number}U)"
        if mutant.constexpr:
            question = f"(!__builtin_is_constant_evaluated() && {question})"
        for start, before, end, behind in mutant.insertions:
            # At one place: first what ends there, the inner before the outer; then copies of statements; then what begins
            # there, the outer before the inner.
            if start == end:
                pieces.append((start, 1, 0, number, before.replace(ON, question)))
                continue
            pieces.append((start, 2, -end, number, before.replace(ON, question)))
            pieces.append((end, 0, -start, -number, behind))
    return with_pieces(text, pieces)


def with_pieces(text, pieces):
    written, position = [], 0
    for offset, _, _, _, piece in sorted(pieces):
        written += [text[position:offset], piece]
        position = offset
    return "".join(written) + text[position:]


def replaced(text, mutant):
    """The text with this mutant alone, as a programmer would have written it."""
    lines = text.count("\n", mutant.start, mutant.end)
    return text[:mutant.start] + mutant.becomes + "\n" * lines + text[mutant.end:]
