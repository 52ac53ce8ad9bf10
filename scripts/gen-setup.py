#!/usr/bin/env python3
"""Writes the simulated instrument's setup document (fixtures/.../setup/setup.xml) and the German and
English texts of its ids into the language files, between two marker comments, so that running it
again replaces the block. The document has the shape of a real instrument's: modules, nested groups,
parameters of every type with limits, selection lists with language ids, properties, data points with
rec and mandatory members, visibility and editability 0 to 2, the ids the settings and time pages
bind to, and a few thousand parameters. Deterministic: the same run gives the same bytes."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent / "fixtures/instrument/flashdrive0/data"
SETUP = ROOT / "setup/setup.xml"
LANG = ROOT / "ccci/scratchpad/lang"
BEGIN, END = "  <!-- setup: begin -->", "  <!-- setup: end -->"

TEXTS = {}  # id -> (German, English, short)


def text(i, de, en, short=""):
    if TEXTS.get(i, (de, en, short)) != (de, en, short):
        raise SystemExit(f"id {i} has two meanings: {TEXTS[i]} and {(de, en, short)}")
    TEXTS[i] = (de, en, short)
    return i


def esc(s):
    return s.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace('"', "&quot;")


def num(v):
    if isinstance(v, float):
        s = f"{v:.5f}".rstrip("0").rstrip(".")
        return s if s not in ("", "-0") else "0"
    return str(v)


class Node:
    def __init__(self, tag, i=None, attrs=None):
        self.tag, self.id, self.attrs, self.kids = tag, i, attrs or {}, []

    def add(self, n):
        self.kids.append(n)
        return n

    def write(self, out, depth):
        pad = "  " * depth
        attrs = "".join(f' {k}="{esc(v)}"' for k, v in self.attrs.items())
        if self.id is not None:
            attrs = f' id="{self.id}"' + attrs
        out.append(f"{pad}<{self.tag}{attrs}>")
        for k in self.kids:
            k.write(out, depth + 1)
        out.append(f"{pad}</{self.tag}>")


class Leaf:
    def __init__(self, lines):
        self.lines = lines

    def write(self, out, depth):
        out.extend("  " * depth + l for l in self.lines)


def el(tag, v):
    return f"<{tag}>{esc(num(v))}</{tag}>" if v != "" else f"<{tag}></{tag}>"


def param(i, typ, value, default=None, low=None, high=None, vis=0, edit=None, choices=None):
    """choices: [(value, text id or None)]"""
    lines = [f'<parameter id="{i}">', "  " + el("type", typ), "  " + el("value", value)]
    lines.append("  " + el("default", value if default is None else default))
    if low is not None:
        lines.append("  " + el("low", low))
    if high is not None:
        lines.append("  " + el("high", high))
    lines.append("  " + el("visibility", vis))
    lines.append("  " + el("editability", vis if edit is None else edit))
    if choices:
        lines.append('  <range list="true">')
        for v, t in choices:
            lines.append(f'    <item id="{v}">{t}</item>' if t is not None else f'    <item id="{v}"/>')
        lines.append("  </range>")
    lines.append("</parameter>")
    return Leaf(lines)


def prop(i, value, vis=0):
    return Leaf([f'<property id="{i}">', "  " + el("value", value), "  " + el("visibility", vis), "</property>"])


def datapoint(i, rec, default, vis=0):
    return Leaf([f'<datapoint id="{i}">', "  " + el("rec", rec), "  " + el("default", default),
                 "  " + el("visibility", vis), "</datapoint>"])


def mandatory(i):
    return Leaf([f"<mandatory>{i}</mandatory>"])


def group(parent, i, de, en):
    text(i, de, en)
    return parent.add(Node("group", i))


def module(sys, i, de, en):
    text(i, de, en)
    return sys.add(Node("swmodule", i))


def choice_texts(base, pairs):
    """Language ids for list texts, from `base` upwards; returns [(value, text id)]."""
    out = []
    for k, (v, de, en) in enumerate(pairs):
        out.append((v, text(base + k, de, en)))
    return out


CH = ["U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31", "I1", "I2", "I3", "IN", "IR"]
PHASES = ["L1", "L2", "L3"]


def device_module(sys):
    m = module(sys, 4261413888, "Gerät", "Device")
    m.add(prop(text(4261413889, "Gerätetyp", "Device type"), "FerroRecorder"))
    m.add(prop(text(4261413890, "Firmware-Version", "Firmware version"), "2.2.1.5"))
    m.add(prop(text(4261413891, "Seriennummer", "Serial number"), "5120042", vis=1))
    m.add(param(text(4261413892, "Anlage", "Plant"), "text", "Umspannwerk Nord", "Anlage", 0, 127))
    m.add(param(text(4261413893, "Feld", "Bay"), "text", "Feld 3", "Feld", 0, 127))
    m.add(param(text(4261413894, "Gerätename", "Device name"), "text", "FR-042", "Gerät", 1, 127, 0, 1))
    m.add(param(text(4261413895, "Anzeige beleuchtet", "Display backlight"), "boolean", 1, 1, vis=1))
    m.add(param(text(4261413896, "Zeitkorrektur der Anzeige", "Display time correction", "h"), "integer", -3, 0,
                -12, 12, vis=2))
    names = group(m, 4261413897, "Gerätebezeichnung", "Device designation")
    for i, de, en, v in [(4261413248, "Bezeichnung Anlage", "Designation plant", "UW_Nord"),
                         (4261413261, "Bezeichnung Spannungsebene", "Designation voltage level", "20kV"),
                         (4261413255, "Bezeichnung Feld", "Designation bay", "Feld_3"),
                         (4261413256, "Bezeichnung Messpunkt", "Designation measuring point", "MP-1")]:
        names.add(param(text(i, de, en), "text", v, "", 0, 60))


def network_module(sys):
    m = module(sys, 4261413900, "Netz und Wandler", "Supply and transformers")
    g = group(m, 4261413901, "Grundeinstellungen", "Basic settings")
    g.add(param(text(218103808, "Nennfrequenz", "Nominal frequency", "Hz"), "uint32", 0, 0,
                choices=[(0, text(4261413925, "50 Hz", "50 Hz")), (1, text(4261413926, "60 Hz", "60 Hz"))]))
    g.add(param(text(218300416, "Nennspannung in % der sekundären Nennspannung",
                     "Nominal voltage in % of the secondary nominal voltage", "%"), "float", 100.0, 100.0, 50.0, 200.0))
    g.add(param(text(235143168, "Netzform", "Network type"), "uint32", 0, 0,
                choices=[(0, text(4261413946, "4-Leiter Netz (3 Phasen)", "4-wire network (3 phases)")),
                         (1, text(4261413947, "4-Leiter (unabhängige Phasen)", "4-wire (independent phases)")),
                         (2, text(4261413948, "3-Leiter Netz", "3-wire network"))]))
    g.add(param(text(234881024, "Bezugsgröße der Spannungsereignisse", "Reference of voltage events"), "uint32", 1, 1,
                choices=[(0, text(4261413934, "Leiter-Leiter", "Line to line")),
                         (1, text(4261413935, "Leiter-Erde", "Line to earth"))]))
    g.add(param(text(234946560, "Sekundärer Messbereich", "Secondary measuring range"), "uint32", 0, 0,
                choices=choice_texts(4261413960, [(0, "230 V", "230 V"), (1, "400 V", "400 V"), (2, "110 V", "110 V"),
                                                  (3, "63,5 V", "63.5 V"), (4, "100 V", "100 V")])))
    g.add(param(text(235077632, "Bezugsgröße der Oberschwingungen", "Reference of harmonics"), "uint32", 1, 1,
                choices=[(0, text(4261413936, "Leiter-Leiter", "Line to line")),
                         (1, text(4261413937, "Leiter-Erde", "Line to earth"))]))
    g.add(param(text(235667456, "Sekundäre Nennspannung", "Secondary nominal voltage", "V"), "float", 230.0, 230.0,
                50.0, 500.0))
    g.add(param(text(235732992, "Sekundärer Nennstrom", "Secondary nominal current", "A"), "float", 5.0, 5.0, 0.1, 10.0))
    w = group(m, 4261413902, "Wandler", "Transformers")
    w.add(param(text(235470848, "Führender Spannungswandlerfaktor", "Leading voltage transformer factor"), "float",
                1.0, 1.0, 0.01, 1000000.0))
    w.add(param(text(235536384, "Führender Stromwandlerfaktor", "Leading current transformer factor"), "float",
                1.0, 1.0, 0.01, 1000000.0))
    for k in range(4):
        w.add(param(text(235601920 + 256 * k, f"Korrektur Spannungskanal {k + 1}", f"Correction voltage channel {k + 1}"),
                    "float", 1.0, 1.0, -1.0, 1.0))
    for k in range(4):
        w.add(param(text(235602944 + 256 * k, f"Korrektur Stromkanal {k + 1}", f"Correction current channel {k + 1}"),
                    "float", 1.0, 1.0, -1.0, 1.0))
    h = group(m, 4261413903, "Oberschwingungsgrenzwerte", "Harmonic limits")
    for order in range(2, 51):
        limit = {2: 2.0, 3: 5.0, 5: 6.0, 7: 5.0, 9: 1.5, 11: 3.5, 13: 3.0}.get(order, 1.5 if order % 2 else 0.5)
        if order > 40:
            limit = 100.0  # switched off
        h.add(param(text(219414528 + 256 * (order - 2), f"Grenzwert {order}. Harmonische",
                         f"Limit harmonic {order}", "%"), "float", limit, limit, 0.0, 100.0))
    s = group(m, 4261413904, "Stromschwellen", "Current thresholds")
    for k, v in enumerate([10.0, 50.0, 90.0, 110.0, 150.0]):
        s.add(param(text(253165568 + 65536 * k, f"Stromschwelle {k + 1}", f"Current threshold {k + 1}", "%"), "float",
                    v, v, 0.0, 1000.0))
    rc = group(m, 4261413906, "Rundsteuersignal", "Ripple control signal")
    rc.add(param(text(0x0D200000, "Rundsteuerfrequenz", "Ripple control frequency", "Hz"), "float", 183.3, 183.3,
                 100.0, 3000.0))
    rc.add(param(text(0x0D210000, "Erkennungsschwelle", "Detection threshold", "%"), "float", 1.0, 1.0, 0.1, 10.0))
    rc.add(param(text(0x0D220000, "Rundsteuersignale aufzeichnen", "Record ripple control signals"), "boolean", 0, 0))
    r = group(m, 4261413905, "Differenzstrom (RCM)", "Residual current (RCM)")
    r.add(param(text(335609856, "Übersetzung des Differenzstromwandlers", "Residual current transformer ratio"),
                "float", 600.0, 600.0, 1.0, 10000.0))
    r.add(param(text(335740928, "Bemessungsdifferenzstrom", "Rated residual operating current", "A"), "float", 0.03,
                0.03, 0.001, 10.0))


def triggers(g, base, de_rec, en_rec):
    kinds = [("obere Schwelle", "upper threshold", "float", 110.0, 0.0, 200.0, "%"),
             ("untere Schwelle", "lower threshold", "float", 90.0, 0.0, 200.0, "%"),
             ("Sprung", "step", "float", 5.0, 0.0, 100.0, "%"),
             ("Auslösung aktiv", "trigger active", "boolean", 0, None, None, "")]
    n = 0
    for ch in CH:
        for de, en, typ, v, lo, hi, unit in kinds:
            i = base + n
            n += 1
            # The triggers are basic settings: level 0 sees and edits them.
            g.add(param(text(i, f"{de_rec} {ch} {de}", f"{en_rec} {ch} {en}", unit), typ, v, v, lo, hi))
    # The trigger ids of the newer layout generation.
    for off, de, en in [(0x61, "Auslösung über Binäreingang 1", "Trigger on binary input 1"),
                        (0x62, "Auslösung über Binäreingang 2", "Trigger on binary input 2"),
                        (0x71, "Auslösung über Netzwerk", "Trigger over the network"),
                        (0x72, "Auslösung über Ereignis", "Trigger on event")]:
        g.add(param(text(base + off, f"{de_rec}: {de}", f"{en_rec}: {en}"), "boolean", 1, 0))


def recorder_module(sys):
    m = module(sys, 4261413910, "Rekorder", "Recorders")
    o = group(m, 4261413911, "Oszilloskop-Rekorder", "Oscilloscope recorder")
    o.add(param(text(0x10000000, "Minimale Störschrieblänge", "Minimum record length", "Abtastwerte"), "uint32",
                1024, 1024, 256, 65536))
    o.add(param(text(0x10010000, "Maximale Störschrieblänge", "Maximum record length", "Abtastwerte"), "uint32",
                10240, 10240, 1024, 262144))
    o.add(param(text(0x10020000, "Vorgeschichte", "Pre-trigger", "Abtastwerte"), "uint32", 512, 512, 0, 65536))
    o.add(param(text(0x10040000, "Abtastrate", "Sample rate", "1/s"), "uint32", 10240, 10240,
                choices=choice_texts(4261413970, [(5120, "5120 Abtastwerte/s", "5120 samples/s"),
                                                  (10240, "10240 Abtastwerte/s", "10240 samples/s"),
                                                  (20480, "20480 Abtastwerte/s", "20480 samples/s"),
                                                  (25600, "25600 Abtastwerte/s", "25600 samples/s")])))
    triggers(o, 0x10030000, "Oszilloskop", "Oscilloscope")
    t = group(m, 4261413912, "TRMS-Rekorder", "TRMS recorder")
    t.add(param(text(0x11000000, "Minimale Aufzeichnungslänge", "Minimum record length", "Halbperioden"), "uint32",
                20, 20, 2, 1000))
    t.add(param(text(0x11010000, "Maximale Aufzeichnungslänge", "Maximum record length", "Halbperioden"), "uint32",
                2000, 2000, 20, 100000))
    t.add(param(text(0x11020000, "Vorgeschichte", "Pre-trigger", "Halbperioden"), "uint32", 10, 10, 0, 1000))
    triggers(t, 0x11030000, "TRMS", "TRMS")

    # Recording points: one group per data class, below it one group per quantity; a quantity's id
    # is the same in every class, the groups' ids are the class's own.
    points = group(m, 0xFF000004, "Aufzeichnungspunkte", "Recording points")
    quantities = [
        ("Spannungen", "Voltages", [(0x0A100000 + k, f"Spannung {c}", f"Voltage {c}", "V")
                                    for k, c in enumerate(["U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"])]),
        ("Ströme", "Currents", [(0x0A110000 + k, f"Strom {c}", f"Current {c}", "A")
                                for k, c in enumerate(["I1", "I2", "I3", "IN"])]),
        ("Leistungen", "Powers", [(0x0A120000 + 4 * q + p, f"{de} {ph}", f"{en} {ph}", u)
                                  for q, (de, en, u) in enumerate([("Wirkleistung", "Active power", "W"),
                                                                   ("Blindleistung", "Reactive power", "var"),
                                                                   ("Scheinleistung", "Apparent power", "VA"),
                                                                   ("Leistungsfaktor", "Power factor", "")])
                                  for p, ph in enumerate(PHASES + ["gesamt"])]),
        ("Frequenz", "Frequency", [(0x0A130000, "Frequenz", "Frequency", "Hz")]),
        ("Flicker", "Flicker", [(0x0A140000 + 2 * p + k, f"{n} {ph}", f"{n} {ph}", "")
                                for p, ph in enumerate(PHASES) for k, n in enumerate(["Pst", "Plt"])]),
        ("Unsymmetrie", "Unbalance", [(0x0A150000, "Gegensystem", "Negative sequence", "%"),
                                      (0x0A150001, "Nullsystem", "Zero sequence", "%")]),
    ]
    for p, ph in enumerate(PHASES):
        quantities.append((f"Oberschwingungen Spannung {ph}", f"Voltage harmonics {ph}",
                           [(0x0A200000 + 256 * p + 1, f"THD U {ph}", f"THD U {ph}", "%")] +
                           [(0x0A200000 + 256 * p + h, f"U {ph} Harmonische {h}", f"U {ph} harmonic {h}", "%")
                            for h in range(2, 51)]))
        quantities.append((f"Oberschwingungen Strom {ph}", f"Current harmonics {ph}",
                           [(0x0A210000 + 256 * p + 1, f"THD I {ph}", f"THD I {ph}", "%")] +
                           [(0x0A210000 + 256 * p + h, f"I {ph} Harmonische {h}", f"I {ph} harmonic {h}", "A")
                            for h in range(2, 51)]))
    classes = [("150 Perioden", "150 cycles"), ("10 Minuten", "10 minutes"), ("2 Stunden", "2 hours"),
               ("1 Sekunde", "1 second")]
    for c, (cde, cen) in enumerate(classes):
        cg = group(points, 0xFF000010 + c, cde, cen)
        for q, (qde, qen, members) in enumerate(quantities):
            qg = group(cg, 0x0AF00000 + 256 * c + q, f"{qde} ({cde})", f"{qen} ({cen})")
            harmonics = qde.startswith("Oberschwingungen")
            for k, (i, de, en, unit) in enumerate(members):
                text(i, de, en, unit)
                # Consistent with the mandatory rule: a class that records anything records member 0.
                rec = 1 if (c == 1 and (k < 3 or not harmonics)) or (c == 2 and k < 2) else 0
                qg.add(datapoint(i, rec, 1 if k == 0 else 0, vis=1 if harmonics and k > 26 else 0))
            # A lone member is not mandatory: the rule would switch it off, nothing else recording.
            if len(members) > 1:
                qg.add(mandatory(members[0][0]))


def events_module(sys):
    m = module(sys, 0xFE000500, "Ereignisse", "Events")
    kinds = [("Spannungseinbruch", "Voltage dip", 90.0), ("Spannungsüberhöhung", "Voltage swell", 110.0),
             ("Versorgungsunterbrechung", "Interruption", 5.0),
             ("Schnelle Spannungsänderung", "Rapid voltage change", 3.0),
             ("Frequenzabweichung", "Frequency deviation", 1.0)]
    for k, (de, en, threshold) in enumerate(kinds):
        g = group(m, 0xFE000510 + k, de, en)
        for c, ch in enumerate(CH[:7]):
            base = 0x12000000 + (k << 16) + (c << 8)
            g.add(param(text(base, f"{de} {ch} aktiv", f"{en} {ch} active"), "boolean", 1, 1, vis=0))
            g.add(param(text(base + 1, f"{de} {ch} Schwelle", f"{en} {ch} threshold", "%"), "float", threshold,
                        threshold, 0.0, 200.0))
            g.add(param(text(base + 2, f"{de} {ch} Hysterese", f"{en} {ch} hysteresis", "%"), "float", 2.0, 2.0,
                        0.0, 10.0, vis=1))
            g.add(param(text(base + 3, f"{de} {ch} Mindestdauer", f"{en} {ch} minimum duration", "ms"), "uint32",
                        10, 10, 0, 60000, vis=1))
            g.add(param(text(base + 4, f"{de} {ch} Verzögerung", f"{en} {ch} delay", "ms"), "integer", 0, 0,
                        -1000, 1000, vis=2))
            g.add(param(text(base + 5, f"{de} {ch} Meldung", f"{en} {ch} message"), "text", f"{ch}_{k}", "", 0, 32,
                        vis=1, edit=2))


def communication_module(sys):
    m = module(sys, 0xFE000600, "Kommunikation", "Communication")
    modbus = group(m, 0xFE000601, "Modbus-Registerabbild", "Modbus register map")
    iec = group(m, 0xFE000602, "IEC 60870-5-104 Informationsobjekte", "IEC 60870-5-104 information objects")
    quantities = [f"{q} {ch}" for q in ["Effektivwert", "Minimum", "Maximum", "THD"] for ch in CH]
    quantities += [f"Harmonische {h} {ph}" for ph in PHASES for h in range(2, 51)]
    quantities += [f"Zwischenharmonische {h} {ph}" for ph in PHASES for h in range(0, 50)]
    for n, q in enumerate(quantities[:420]):
        en = q.replace("Effektivwert", "RMS").replace("Zwischenharmonische", "Interharmonic").replace(
            "Harmonische", "Harmonic")
        modbus.add(param(text(0x13000000 + n, f"Modbus-Adresse {q}", f"Modbus address {en}"), "uint32",
                         30001 + 2 * n, 30001 + 2 * n, 0, 65535, vis=1, edit=2))
        iec.add(param(text(0x13100000 + n, f"IOA {q}", f"IOA {en}"), "uint32", 1000 + n, 1000 + n, 1, 16777215,
                      vis=1, edit=2))
    settings = group(m, 0xFE000603, "IEC 60870-5-104 Verbindung", "IEC 60870-5-104 link")
    settings.add(param(text(0x13200000, "Gemeinsame Adresse (ASDU)", "Common address (ASDU)"), "uint32", 1, 1, 1, 65534))
    settings.add(param(text(0x13200001, "Zeitüberwachung t1", "Time-out t1", "s"), "uint32", 15, 15, 1, 255))
    settings.add(param(text(0x13200002, "Port", "Port"), "uint32", 2404, 2404, 1, 65535))
    settings.add(param(text(0x13200003, "Spontanübertragung", "Spontaneous transmission"), "boolean", 1, 1))


def time_and_net_module(sys):
    m = module(sys, 4261413829, "Zeit und Netzwerk", "Time and network")
    t = group(m, 4261413830, "Zeitsynchronisation", "Time synchronisation")
    t.add(param(text(4261413634, "Zeitsynchronisation", "Time synchronisation"), "uint32", 7, 0,
                choices=choice_texts(4261413984, [(0, "Manuell", "Manual"), (1, "DCF 77", "DCF 77"),
                                                  (2, "IEEE 1344", "IEEE 1344"), (3, "IRIG-B 0 bis 3", "IRIG-B 0 to 3"),
                                                  (4, "IRIG-B 4 bis 7", "IRIG-B 4 to 7"), (5, "NMEA RMC", "NMEA RMC"),
                                                  (6, "NMEA ZDA", "NMEA ZDA"), (7, "NTP", "NTP")])))
    t.add(param(text(4261413635, "Signalpegel", "Signal level"), "uint32", 0, 0,
                choices=choice_texts(4261414000, [(0, "TTL", "TTL"), (1, "RS-485", "RS-485")])))
    t.add(param(text(4261413636, "Laufzeitkorrektur", "Delay correction", "µs"), "uint32", 0, 0, 0, 100000))
    t.add(param(text(4261413637, "Empfängerbezeichnung", "Receiver name"), "text", "COM2", "COM2", 0, 16))
    t.add(param(text(4261413664, "NMEA-Baudrate", "NMEA baud rate"), "uint32", 4800, 4800,
                choices=[(b, None) for b in (4800, 9600, 19200, 38400)]))
    t.add(param(text(4261413665, "Ortszeit der Zeitquelle", "Local time of the time source"), "uint32", 0, 0,
                choices=choice_texts(4261414004, [(0, "UTC", "UTC"), (1, "Ortszeit", "Local time")])))
    for k in range(4):
        t.add(param(text(4261413655 + k, f"NTP-Server {k + 1}", f"NTP server {k + 1}"), "text",
                    "127.0.0.1" if k == 0 else "255.255.255.255", "255.255.255.255", 7, 15))
    for k in range(4):
        t.add(param(text(4261413659 + k, f"NTP-Port {k + 1}", f"NTP port {k + 1}"), "uint32", 123, 123, 1, 65535))
    z = group(m, 4261413831, "Zeitzone", "Time zone")
    z.add(param(text(4261413638, "Vorzeichen der Zeitverschiebung", "Sign of the offset"), "uint32", 1, 0, 0, 1))
    z.add(param(text(4261413639, "Zeitverschiebung Stunden", "Offset hours", "h"), "uint32", 1, 1, 0, 14))
    z.add(param(text(4261413640, "Zeitverschiebung Minuten", "Offset minutes", "min"), "uint32", 0, 0, 0, 59))
    z.add(param(text(4261413641, "Sommerzeit", "Daylight saving"), "uint32", 1, 1,
                choices=[(0, text(4261413927, "nein", "no")), (1, text(4261413928, "ja", "yes"))]))
    for base, de, en, mon, hour in [(4261413642, "Sommerzeitbeginn", "Daylight start", 3, 2),
                                    (4261413646, "Sommerzeitende", "Daylight end", 10, 3)]:
        z.add(param(text(base, f"{de} Monat", f"{en} month"), "uint32", mon, mon, 1, 12))
        z.add(param(text(base + 1, f"{de} Tag", f"{en} day"), "uint32", 25, 25, 1, 31))
        z.add(param(text(base + 2, f"{de} Stunde", f"{en} hour", "h"), "uint32", hour, hour, 0, 23))
        z.add(param(text(base + 3, f"{de} Wochentag", f"{en} weekday"), "uint32", 7, 7, 1, 7))
    n = group(m, 4261413832, "Netzwerk", "Network")
    n.add(param(text(4261413833, "DHCP", "DHCP"), "boolean", 0, 1))
    n.add(param(text(4261413834, "IP-Adresse", "IP address"), "text", "127.0.0.1", "192.168.1.100", 7, 15))
    n.add(param(text(4261413835, "Netzmaske", "Netmask"), "text", "255.255.255.0", "255.255.255.0", 7, 15))
    n.add(param(text(4261413836, "Gateway", "Gateway"), "text", "127.0.0.1", "192.168.1.1", 7, 15))
    n.add(param(text(4261413837, "CCCI-Port", "CCCI port"), "uint32", 5040, 5040, 1, 65535, vis=1))
    n.add(param(text(4261413838, "SSH aktiv", "SSH enabled"), "boolean", 1, 1, vis=1, edit=2))


def iec61850_module(sys):
    m = module(sys, 4261413839, "IEC 61850 und Modbus", "IEC 61850 and Modbus")
    g = group(m, 4261413840, "IEC 61850", "IEC 61850")
    for k, (de, en, v) in enumerate([("IED-Name", "IED name", "FR042"), ("Logisches Gerät", "Logical device", "UW_Nord"),
                                     ("Spannungsebene", "Voltage level", "20kV"), ("Feld", "Bay", "Feld3"),
                                     ("Präfix", "Prefix", "PQ1"), ("Instanz", "Instance", "1"),
                                     ("Subnetz", "Subnetwork", "S1")]):
        g.add(param(text(4278190467 + k, de, en), "text", v, "", 1, 64, vis=1))
    mb = group(m, 4261413841, "Modbus", "Modbus")
    mb.add(param(text(4261413842, "Modbus-Port", "Modbus port"), "uint32", 502, 502, 1, 65535, vis=1))
    mb.add(param(text(4261413843, "Modbus-Slave-Adresse", "Modbus slave address"), "uint32", 1, 1, 1, 247, vis=1))
    mb.add(param(text(4261413844, "Modbus RTU", "Modbus RTU"), "boolean", 0, 0, vis=2))
    m.add(prop(text(4261413845, "MAC-Adresse", "MAC address"), "00:50:c2:aa:04:2a", vis=2))


def service_module(sys):
    m = module(sys, 4261413950, "Service", "Service")
    g = group(m, 4261413951, "Diagnose", "Diagnostics")
    g.add(param(text(4261413952, "Diagnoseprotokoll", "Diagnostic log"), "boolean", 0, 0, vis=2))
    g.add(param(text(4261413953, "Protokollstufe", "Log level"), "integer", 3, 3, 0, 7, vis=2))
    g.add(param(text(4261413954, "Diagnose-Kennung", "Diagnostic tag"), "text", "", "", 0, 64, vis=2))
    g.add(param(text(4261413955, "Build-Information", "Build information"), "property", "", vis=2))
    cal = group(m, 4261413956, "Kalibrierkonstanten", "Calibration constants")
    for c, ch in enumerate(CH):
        cg = group(cal, 0xFE000700 + c, f"Kalibrierung {ch}", f"Calibration {ch}")
        for r in range(4):
            base = 0x15000000 + (c << 8) + (r << 4)
            cg.add(param(text(base, f"{ch} Bereich {r + 1} Verstärkung", f"{ch} range {r + 1} gain"), "float",
                         1.0 + 0.0001 * (c + r), 1.0, 0.9, 1.1, vis=2))
            cg.add(param(text(base + 1, f"{ch} Bereich {r + 1} Offset", f"{ch} range {r + 1} offset"), "float",
                         0.0, 0.0, -1.0, 1.0, vis=2))
            cg.add(param(text(base + 2, f"{ch} Bereich {r + 1} Phasenkorrektur", f"{ch} range {r + 1} phase correction",
                              "°"), "float", 0.0, 0.0, -5.0, 5.0, vis=2))


def build():
    # Texts of the settings pages that are no parameters.
    text(65412, "%% vom Nennstrom ( %sA )", "%% of Nominal Current( %sA )")
    sys_ = Node("system", 4261412864, {"name": "sys"})
    text(4261412864, "System", "System")
    device_module(sys_)
    network_module(sys_)
    recorder_module(sys_)
    events_module(sys_)
    communication_module(sys_)
    time_and_net_module(sys_)
    iec61850_module(sys_)
    service_module(sys_)
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           "<!-- Setup des Ferro Recorders FR-042; Werte geändert über die Parametrierung -->",
           '<usrMan name="usrMan">', '  <appl name="pqAppl">', '    <cfg name="setup.xml">']
    sys_.write(out, 3)
    out += ["    </cfg>", "  </appl>", "</usrMan>"]
    return "\n".join(out) + "\n"


def write_lang(lang, idx):
    path = LANG / f"lang_{lang}.xml"
    body = path.read_text(encoding="utf-8")
    body = re.sub(re.escape(BEGIN) + r".*?" + re.escape(END) + r"\n", "", body, flags=re.S)
    # Texts of setup ids written by hand before this block existed give way to the block's.
    rec_begin = body.find("<!-- recording files: begin -->")
    rec_end = body.find("<!-- recording files: end -->")
    kept = []
    pos = 0
    for line in body.splitlines(keepends=True):
        m = re.match(r'\s*<text id="(\d+)"', line)
        inside = rec_begin <= pos <= rec_end
        if not (m and int(m.group(1)) in TEXTS and not inside):
            kept.append(line)
        pos += len(line)
    body = "".join(kept)
    present = set(int(i) for i in re.findall(r'<text id="(\d+)"', body))
    lines = [BEGIN]
    for i in sorted(TEXTS):
        if i in present:
            continue
        t = TEXTS[i]
        lines.append(f'  <text id="{i}" long="{esc(t[idx])}" short="{esc(t[2])}"/>')
    lines.append(END)
    at = body.rindex("</language>")
    path.write_text(body[:at] + "\n".join(lines) + "\n" + body[at:], encoding="utf-8")


if __name__ == "__main__":
    xml = build()
    SETUP.write_text(xml, encoding="utf-8")
    write_lang("de", 0)
    write_lang("en", 1)
    print(f"{SETUP}: {xml.count('<parameter ')} parameters, {xml.count('<datapoint ')} data points, "
          f"{len(TEXTS)} texts")
