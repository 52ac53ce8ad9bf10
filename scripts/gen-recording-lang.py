#!/usr/bin/env python3
"""Writes the texts of the recording files' object and group ids (docs/recording-format.md) into
the German and English language files of the instrument fixture, between two marker comments, so
that running it again replaces the block. The ids follow sim/ferrosim/RecordingLayout.cpp."""
import pathlib
import re

LANG = pathlib.Path(__file__).resolve().parent.parent / "fixtures/instrument/flashdrive0/data/ccci/scratchpad/lang"
BEGIN, END = "  <!-- recording files: begin -->", "  <!-- recording files: end -->"

CH = ["U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31", "I1", "I2", "I3", "IN", "IR"]
SAMPLE = ["u1", "u2", "u3", "uN", "u12", "u23", "u31", "i1", "i2", "i3", "iN", "iR"]
SPECTRUM = {  # channel: (harmonics, interharmonics, bands)
    "U1E": (0x2030000, 0x2040000, 0x2140000), "U2E": (0x2050000, 0x2060000, 0x2150000),
    "U3E": (0x2070000, 0x2080000, 0x2160000), "UNE": (0x2090000, 0x20A0000, 0x2170000),
    "I1": (0x2250000, 0x2260000, 0x2300000), "I2": (0x2270000, 0x2280000, 0x2310000),
    "I3": (0x2290000, 0x22A0000, 0x2320000), "IN": (0x22B0000, 0x22C0000, 0x2330000),
}
PHASE = ["L1", "L2", "L3"]


def unit(ch):
    return "V" if ch.startswith("U") else "A"


def entries():
    e = [(0x0A000000, "Zeit", "Time", ""), (0x0000FFFF, "Verwaltung", "Housekeeping", ""),
         (0x01020000, "Frequenz", "Frequency", "Hz"),
         (0x01080003, "Leistungsfaktor gesamt", "Power factor total", ""),
         (0x01090000, "U1E höchster Periodenwert", "U1E highest cycle value", "V"),
         (0x01090001, "U1E niedrigster Periodenwert", "U1E lowest cycle value", "V"),
         (0x010B0000, "Gerätetemperatur", "Device temperature", "°C"),
         (0x010C0000, "Wirkenergie des Intervalls", "Active energy of the interval", "Wh"),
         (0x010D0000, "Spannungsunsymmetrie", "Voltage unbalance", "%"),
         (0x010E0000, "Langzeitflicker Plt L1", "Long-term flicker Plt L1", ""),
         (0x010E0001, "Langzeitflicker Plt L2", "Long-term flicker Plt L2", ""),
         (0x010E0002, "Langzeitflicker Plt L3", "Long-term flicker Plt L3", ""),
         (0x0104002F, "Spannung in % der Nennspannung", "Voltage in % of nominal", "%"),
         (0x0C000001, "Spannungseinbruch", "Voltage dip", ""),
         (0x0C000002, "Spannungsüberhöhung", "Voltage swell", ""),
         (0x0C000003, "Versorgungsunterbrechung", "Interruption", ""),
         (0x0C000021, "Störschreiber ausgelöst", "Disturbance recorder triggered", "")]
    for k, ch in enumerate(CH):
        e.append((0x01010000 + k, f"Effektivwert {ch}", f"RMS {ch}", unit(ch)))
        e.append((0x01100000 + k, f"Abtastwert {SAMPLE[k]}", f"Sample {SAMPLE[k]}", unit(ch)))
    for k in [0, 1, 2, 7, 8, 9]:
        e.append((0x01030000 + k, f"THD {CH[k]}", f"THD {CH[k]}", "%"))
        e.append((0x01110000 + k, f"Halbperioden-Effektivwert {CH[k]}", f"Half-cycle RMS {CH[k]}", unit(CH[k])))
    for p in range(4):
        name_de, name_en = (PHASE[p], PHASE[p]) if p < 3 else ("gesamt", "total")
        e.append((0x01050000 + p, f"Wirkleistung {name_de}", f"Active power {name_en}", "W"))
        e.append((0x01070000 + p, f"Scheinleistung {name_de}", f"Apparent power {name_en}", "VA"))
    for k in range(4):
        e.append((0x00150D00 + k, f"Binäreingang {k + 1}", f"Binary input {k + 1}", ""))
    for ch, (h, ih, b) in SPECTRUM.items():
        u = "%" if ch.startswith("U") else "A"
        e.append((h | 0xFFFF, f"Harmonische {ch}", f"Harmonics {ch}", ""))
        e.append((ih | 0xFFFF, f"Zwischenharmonische {ch}", f"Interharmonics {ch}", ""))
        e.append((b | 0xFFFF, f"Frequenzbänder 2-9 kHz {ch}", f"Frequency bands 2-9 kHz {ch}", ""))
        for n in range(51):
            e.append((h | n << 8, f"{ch} Harmonische {n}", f"{ch} harmonic {n}", u))
        for n in range(50):
            e.append((ih | n << 8, f"{ch} Zwischenharmonische {n},5", f"{ch} interharmonic {n}.5", u))
        for n in range(1, 36):
            centre = 2000 + 200 * (n - 1) + 100
            e.append((b | n << 8, f"{ch} Band {centre} Hz", f"{ch} band {centre} Hz", u))
    groups = [(0x0B01FFFF, "Spannungen", "Voltages"), (0x0B02FFFF, "Ströme", "Currents"),
              (0x0B03FFFF, "Frequenz", "Frequency"), (0x0B04FFFF, "Verzerrung (THD)", "Distortion (THD)"),
              (0x0B05FFFF, "Leistungen", "Powers"), (0x0B06FFFF, "Weitere Größen", "Further quantities"),
              (0x0B07FFFF, "Extremwerte", "Extremes"), (0x0B10FFFF, "Abtastwerte Spannung", "Voltage samples"),
              (0x0B11FFFF, "Abtastwerte Strom", "Current samples"), (0x0B12FFFF, "Binäreingänge", "Binary inputs"),
              (0x0B13FFFF, "Halbperioden-Effektivwerte Spannung", "Half-cycle RMS voltage"),
              (0x0B14FFFF, "Halbperioden-Effektivwerte Strom", "Half-cycle RMS current")]
    e += [(i, de, en, "") for i, de, en in groups]
    return e


def main():
    rows = entries()
    assert len({r[0] for r in rows}) == len(rows), "an id twice"
    for lang, col in (("de", 1), ("en", 2)):
        path = LANG / f"lang_{lang}.xml"
        text = path.read_text(encoding="utf-8")
        text = re.sub(re.escape(BEGIN) + ".*?" + re.escape(END) + "\n", "", text, flags=re.S)
        existing = {int(m) for m in re.findall(r'id="(\d+)"', text)}
        clash = [r[0] for r in rows if r[0] in existing]
        assert not clash, f"ids already in {path.name}: {clash[:5]}"
        block = [BEGIN] + [f'  <text id="{r[0]}" long="{r[col]}" short="{r[3]}"/>' for r in rows] + [END]
        text = text.replace("</language>", "\n".join(block) + "\n</language>")
        path.write_text(text, encoding="utf-8")
        print(f"{path.name}: {len(rows)} texts")


if __name__ == "__main__":
    main()
