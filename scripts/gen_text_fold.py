#!/usr/bin/python3
"""Generates the letter tables of src/model/text_fold.cpp.

Run with Debian's /usr/bin/python3 (its unicodedata module is the source of
the decompositions and character names):

    /usr/bin/python3 scripts/gen_text_fold.py src/model/text_fold.cpp

The script rewrites the block between the "BEGIN generated" and "END
generated" lines of the given file and leaves the rest alone. Without an
argument it prints the block.

Each code point of three blocks gets one ASCII byte:

* Latin Extended-A (U+0100..U+017F): the base letter of the canonical or
  compatibility decomposition (A WITH MACRON -> A, LIGATURE IJ -> I);
  letters that do not decompose take the letter their character name is
  built on (D WITH STROKE -> D, LONG S -> s), and a short list covers those
  whose names name no single Latin letter (DOTLESS I, KRA, ENG, LIGATURE OE).
* Greek and Coptic (U+0370..U+03FF): the first letter of the letter's
  ALA-LC romanization (alpha a, beta b, gamma g, eta e, theta t(h),
  upsilon y, phi p(h), chi c(h), psi p(s), omega o), through the base
  letter when the code point carries tonos or dialytika.
* Cyrillic (U+0400..U+045F): the first letter of the scientific
  transliteration (zhe z from z-caron, ha x, tse c, che c, sha s, shcha s,
  short i j, yu j(u), ya j(a)), diacritics dropped; the hard and soft signs
  are transliterated with primes and so fold to the apostrophe.

Upper case letters (category Lu) give upper case output, everything else
lower case. Code points that are not letters (punctuation, tonos, unassigned)
give '?'.
"""
import sys
import unicodedata

LATIN_SPECIAL = {
    "DOTLESS I": "i",
    "KRA": "k",
    "ENG": "n",
    "OE": "o",  # the ligature; compatibility data does not split it
}

GREEK = {
    "ALPHA": "a", "BETA": "b", "GAMMA": "g", "DELTA": "d", "EPSILON": "e",
    "ZETA": "z", "ETA": "e", "THETA": "t", "IOTA": "i", "KAPPA": "k",
    "LAMDA": "l", "MU": "m", "NU": "n", "XI": "x", "OMICRON": "o", "PI": "p",
    "RHO": "r", "SIGMA": "s", "TAU": "t", "UPSILON": "y", "PHI": "p",
    "CHI": "c", "PSI": "p", "OMEGA": "o",
    # Archaic and epigraphic letters, by their usual Latin counterparts.
    "HETA": "h", "SAMPI": "s", "DIGAMMA": "w", "YOT": "j", "KOPPA": "q",
    "STIGMA": "s", "KAI": "k", "SHO": "s", "SAN": "s",
    # The Coptic letters of the block.
    "SHEI": "s", "FEI": "f", "KHEI": "k", "HORI": "h", "GANGIA": "g",
    "SHIMA": "s", "DEI": "d",
}
GREEK_MODIFIERS = {"FINAL", "ARCHAIC", "PAMPHYLIAN", "LUNATE", "REVERSED", "DOTTED"}

CYRILLIC = {
    "A": "a", "BE": "b", "VE": "v", "GHE": "g", "DE": "d", "IE": "e",
    "ZHE": "z", "ZE": "z", "I": "i", "SHORT I": "j", "KA": "k", "EL": "l",
    "EM": "m", "EN": "n", "O": "o", "PE": "p", "ER": "r", "ES": "s", "TE": "t",
    "U": "u", "EF": "f", "HA": "x", "TSE": "c", "CHE": "c", "SHA": "s",
    "SHCHA": "s", "HARD SIGN": "'", "YERU": "y", "SOFT SIGN": "'", "E": "e",
    "YU": "j", "YA": "j",
    "DJE": "d", "UKRAINIAN IE": "j", "DZE": "d", "BYELORUSSIAN-UKRAINIAN I": "i",
    "JE": "j", "LJE": "l", "NJE": "n", "TSHE": "c", "DZHE": "d",
}


def cased(letter, ch):
    return letter.upper() if unicodedata.category(ch) == "Lu" else letter


def is_letter(ch):
    return unicodedata.category(ch) in ("Lu", "Ll", "Lt", "Lo")


def letter_name(ch, script):
    """The part of the character name that names the letter itself."""
    name = unicodedata.name(ch, "")
    if not name.startswith(script + " "):
        return None
    words = name[len(script) + 1:].split()
    words = [w for w in words if w not in ("CAPITAL", "SMALL", "LETTER", "LIGATURE")]
    if "WITH" in words:
        words = words[:words.index("WITH")]
    if words and words[-1] == "SYMBOL":
        words = words[:-1]
    while words and words[0] in GREEK_MODIFIERS:
        words = words[1:]
    return " ".join(words)


def fold_latin(cp):
    ch = chr(cp)
    if not is_letter(ch):
        return "?"
    base = unicodedata.normalize("NFKD", ch)[0]
    if base.isascii() and base.isalpha():
        return base
    key = letter_name(ch, "LATIN")
    if key in LATIN_SPECIAL:
        return cased(LATIN_SPECIAL[key], ch)
    # "N PRECEDED BY APOSTROPHE", "L WITH STROKE", "LONG S": the single
    # letter word of the name.
    words = (key or "").split()
    for w in words:
        if len(w) == 1 and w.isalpha():
            return cased(w.lower(), ch)
    raise SystemExit("no folding for U+%04X %s" % (cp, unicodedata.name(ch, "")))


def fold_table(cp, script, table):
    ch = chr(cp)
    if not is_letter(ch):
        return "?"
    for candidate in (ch, unicodedata.normalize("NFD", ch)[0]):
        for s in script:
            key = letter_name(candidate, s)
            if key in table:
                return cased(table[key], ch)
    return "?"


def block(first, last, fold):
    out = []
    for row in range(first, last + 1, 16):
        chars = "".join(fold(cp) for cp in range(row, min(row + 16, last + 1)))
        # '?' is written as an escape so that no run of them reads as a
        # trigraph to an older compiler.
        literal = chars.replace("\\", "\\\\").replace('"', '\\"').replace("?", "\\?")
        end = ";" if row + 16 > last else ""
        out.append('    "%s"%s // U+%04X' % (literal, end, row))
    return "\n".join(out)


def generate():
    parts = [
        "// BEGIN generated by scripts/gen_text_fold.py (Unicode %s); do not edit by hand."
        % unicodedata.unidata_version,
        "// One byte per code point; '?' where the code point is no letter.",
        "const char kLatinExtendedA[] = // U+0100..U+017F",
        block(0x100, 0x17F, fold_latin),
        "const char kGreek[] = // U+0370..U+03FF",
        block(0x370, 0x3FF, lambda cp: fold_table(cp, ("GREEK", "COPTIC"), GREEK)),
        "const char kCyrillic[] = // U+0400..U+045F",
        block(0x400, 0x45F, lambda cp: fold_table(cp, ("CYRILLIC",), CYRILLIC)),
        "// END generated",
    ]
    return "\n".join(parts) + "\n"


def main():
    text = generate()
    if len(sys.argv) < 2:
        sys.stdout.write(text)
        return
    path = sys.argv[1]
    with open(path, encoding="utf-8") as f:
        source = f.read()
    begin = source.index("// BEGIN generated by scripts/gen_text_fold.py")
    end = source.index("// END generated", begin)
    end = source.index("\n", end) + 1
    with open(path, "w", encoding="utf-8") as f:
        f.write(source[:begin] + text + source[end:])


if __name__ == "__main__":
    main()
