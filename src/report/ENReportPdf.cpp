#include "report/ENReportPdf.h"

#include "charts/DateText.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PainterCanvas.h"
#include "foundation/Format.h"

#include <QFileInfo>
#include <QFont>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>

#include <algorithm>

namespace ferro {

namespace {

constexpr QRgb CPassColour = 0xFF1B7A2B, CFailColour = 0xFFC0161B, CRuleColour = 0xFF9AA3AD,
               CShade = 0xFFEEF1F4;

QString Q(const std::string& s) {
    return QString::fromStdString(s);
}

std::string WiringText(uint8_t LeiterSys) {
    switch (LeiterSys) {
    case ls1P2W:
        return "Einphasennetz";
    case ls3P3W:
        return "3-Leiter-Netz (ohne Neutralleiter)";
    default:
        return "4-Leiter-Netz";
    }
}

std::string LocalText(const tmStamp_t& Local) {
    return StampToText(Local);
}

std::string WeekText(const TENReport& R, size_t w) {
    const TENWeek& k = R.Weeks[w];
    tmStamp_t a, b;
    UTCtoLocal(LinearToTS(k.FromNs), R.TimeZone, a);
    UTCtoLocal(LinearToTS(std::min(k.ToNs, R.ToNs)), R.TimeZone, b);
    return Fmt("Woche %d: %s – %s (%d Zehn-Minuten-Werte)", int(w + 1), LocalText(a).c_str(),
               LocalText(b).c_str(), k.Records);
}

// Pages of the report: a cursor down the page, a footer on each, a new page when one is full.
// The painter works in points (72 per inch).
class TPages {
public:
    TPages(QPdfWriter& W, QPainter& P, const TENReport& R, const std::function<void(int)>& Progress)
        : Writer(W), Painter(P), Report(R), FProgress(Progress) {
        Width = W.width();
        Height = W.height();
        Footer();
    }
    void NewPage() {
        if (FProgress) FProgress(Page);
        Writer.newPage();
        ++Page;
        Y = 0;
        Footer();
    }
    // A new page when less than `Need` points are left.
    void Room(double Need) {
        if (Y + Need > Height - 30) NewPage();
    }
    void Font(double Size, bool Bold = false) {
        QFont f("DejaVu Sans");
        f.setPointSizeF(Size);
        f.setBold(Bold);
        Painter.setFont(f);
    }
    void Title(const std::string& T) {
        Font(16, true);
        Painter.setPen(Qt::black);
        Painter.drawText(QPointF(0, Y + 16), Q(T));
        Y += 30;
    }
    void Heading(const std::string& T) {
        Room(60);
        Y += 8;
        Font(11, true);
        Painter.setPen(Qt::black);
        Painter.drawText(QPointF(0, Y + 11), Q(T));
        Painter.setPen(QColor(CRuleColour));
        Painter.drawLine(QPointF(0, Y + 15), QPointF(Width, Y + 15));
        Y += 22;
    }
    void Line(const std::string& T, double Size = 9, bool Bold = false, QRgb Colour = 0xFF000000) {
        Room(16);
        Font(Size, Bold);
        Painter.setPen(QColor(Colour));
        Painter.drawText(QPointF(0, Y + Size + 1), Q(T));
        Y += Size + 6;
    }
    void Field(const std::string& Label, const std::string& Value) {
        Room(16);
        Font(9.5, true);
        Painter.setPen(Qt::black);
        Painter.drawText(QPointF(0, Y + 10), Q(Label));
        Font(9.5);
        Painter.drawText(QPointF(130, Y + 10), Q(Value.empty() ? "–" : Value));
        Y += 16;
    }
    // One table row: texts at the column's left edges; `Colours` per cell (0: black).
    void Row(const std::vector<double>& X, const std::vector<std::string>& Cells, bool Header, bool Shade,
             const std::vector<QRgb>& Colours = {}) {
        const double h = 14;
        Room(h + 2);
        if (Shade) Painter.fillRect(QRectF(0, Y, Width, h), QColor(CShade));
        for (size_t c = 0; c < Cells.size() && c < X.size(); ++c) {
            Font(7.5, Header || (c < Colours.size() && Colours[c] != 0 && Colours[c] != 0xFF000000));
            Painter.setPen(QColor(c < Colours.size() && Colours[c] ? Colours[c] : 0xFF000000));
            const double right = c + 1 < X.size() ? X[c + 1] : Width;
            Painter.drawText(QRectF(X[c] + 2, Y, right - X[c] - 4, h), Qt::AlignVCenter | Qt::AlignLeft,
                             Q(Cells[c]));
        }
        if (Header) {
            Painter.setPen(QColor(CRuleColour));
            Painter.drawLine(QPointF(0, Y + h), QPointF(Width, Y + h));
        }
        Y += h;
    }
    void Skip(double D) { Y += D; }

    QPdfWriter& Writer;
    QPainter& Painter;
    const TENReport& Report;
    double Width = 0, Height = 0, Y = 0;
    int Page = 1;

private:
    void Footer() {
        Font(7.5);
        Painter.setPen(QColor(0xFF5A6570));
        const std::string left = "EN 50160 · " + Report.Plant + " · " + Report.Field;
        Painter.drawText(QRectF(0, Height - 12, Width * 0.8, 12), Qt::AlignLeft, Q(left));
        Painter.drawText(QRectF(0, Height - 12, Width, 12), Qt::AlignRight, Q(Fmt("Seite %d", Page)));
    }
    std::function<void(int)> FProgress;
};

void Cover(TPages& P, const TENReport& R) {
    P.Title("Spannungsqualität nach EN 50160");
    P.Heading("Messstelle");
    P.Field("Anlage", R.Plant);
    P.Field("Feld", R.Field);
    P.Field("Gerät", R.Device);
    P.Field("Seriennummer", R.Serial ? std::to_string(R.Serial) : std::string());
    P.Field("Anschluss", WiringText(R.LeiterSys));
    P.Field("Nennspannung", DeNumber(R.NominalVoltage, 1) +
                                (HasNeutral(R.LeiterSys) ? " V (Leiter–Erde)" : " V (Leiter–Leiter)"));
    P.Field("Nennfrequenz", DeNumber(R.NominalFrequency, 0) + " Hz");
    P.Heading("Messung");
    P.Field("Zeitraum", LocalText(R.FromLocal) + " – " + LocalText(R.ToLocal));
    P.Field("Beobachtungswochen", std::to_string(R.Weeks.size()));
    P.Field("Datei", QFileInfo(Q(R.FileName)).fileName().toStdString());

    P.Heading("Ergebnis");
    std::vector<std::string> broken;
    for (const TENRow& row : R.Rows)
        for (size_t w = 0; w < row.Weeks.size(); ++w)
            if (row.Weeks[w].Present && !row.Weeks[w].Pass) {
                broken.push_back(row.Name);
                break;
            }
    if (R.Rows.empty()) {
        P.Line("Die Aufzeichnung enthält keine der Größen der EN 50160.", 10, true);
    } else if (broken.empty()) {
        P.Line("Alle bewerteten Größen halten die Grenzwerte in jeder Beobachtungswoche ein.", 10, true,
               CPassColour);
    } else {
        std::string list;
        for (const std::string& b : broken)
            list += (list.empty() ? "" : ", ") + b;
        P.Line(Fmt("Grenzwerte verletzt (%d von %d Größen): %s", int(broken.size()), int(R.Rows.size()),
                   list.c_str()),
               10, true, CFailColour);
    }
    P.Line(Fmt("Ereignisse im Zeitraum: %d Spannungseinbrüche, %d Spannungsüberhöhungen, %d "
               "Versorgungsunterbrechungen",
               R.Events.DipCount, R.Events.SwellCount, R.Events.InterruptionCount));
    P.Skip(6);
    P.Line("Bewertet werden die Zehn-Minuten-Werte je Beobachtungswoche: für Frequenz und Spannung der "
           "Anteil im",
           8);
    P.Line("Toleranzband und die Extremwerte, für die übrigen Größen der 95-%-Wert (je Phase, der höchste "
           "zählt).",
           8);
    P.Line("Die Grenzwerte der Harmonischen stammen aus der Messeinstellung der Datei.", 8);
}

void WeekTables(TPages& P, const TENReport& R) {
    const std::vector<double> x = {0, 142, 262, 346, 428};
    for (size_t w = 0; w < R.Weeks.size(); ++w) {
        P.NewPage();
        P.Heading(WeekText(R, w));
        P.Row(x, {"Größe", "Grenzwert", "Beobachtet", "100 %", "Ergebnis"}, true, false);
        bool shade = false;
        for (const TENRow& row : R.Rows) {
            const TENCell& c = row.Weeks[w];
            const std::string verdict = !c.Present ? "keine Werte"
                                        : c.Pass   ? "eingehalten"
                                                   : "nicht eingehalten";
            const QRgb col = !c.Present ? 0xFF5A6570 : c.Pass ? CPassColour : CFailColour;
            P.Row(x, {row.Name, row.Limit, c.Observed95, c.Observed100, verdict}, false, shade,
                  {0, 0, 0, 0, col});
            shade = !shade;
        }
    }
}

void EventPages(TPages& P, const TENReport& R) {
    P.NewPage();
    P.Heading("Spannungsereignisse im Zeitraum");
    P.Line(Fmt("Spannungseinbrüche: %d", R.Events.DipCount), 9.5, true);
    P.Line(Fmt("Spannungsüberhöhungen: %d", R.Events.SwellCount), 9.5, true);
    P.Line(Fmt("Versorgungsunterbrechungen: %d", R.Events.InterruptionCount), 9.5, true);
    for (const std::string& r : R.EventFilesRefused)
        P.Line("Nicht gelesen: " + r, 8, false, CFailColour);
    P.Skip(6);
    P.Line("Einbrüche und Unterbrechungen nach Restspannung u (% der Nennspannung) und Dauer", 9, true);
    std::vector<double> x = {0, 95};
    for (int c = 1; c < TENEventTable::DipCols; ++c)
        x.push_back(95 + c * 84);
    std::vector<std::string> dipHead = {"Restspannung u"};
    for (int c = 0; c < TENEventTable::DipCols; ++c)
        dipHead.push_back(TENEventTable::DipColText(c));
    P.Row(x, dipHead, true, false);
    for (int r = 0; r < TENEventTable::DipRows; ++r) {
        std::vector<std::string> cells = {TENEventTable::DipRowText(r)};
        for (int c = 0; c < TENEventTable::DipCols; ++c)
            cells.push_back(std::to_string(R.Events.Dips[size_t(r)][size_t(c)]));
        P.Row(x, cells, false, r % 2 == 1);
    }
    P.Skip(10);
    P.Line("Überhöhungen nach Spannung u (% der Nennspannung) und Dauer", 9, true);
    std::vector<double> xs = {0, 95, 95 + 140, 95 + 280};
    std::vector<std::string> hs = {"Spannung u"};
    for (int c = 0; c < TENEventTable::SwellCols; ++c)
        hs.push_back(TENEventTable::SwellColText(c));
    P.Row(xs, hs, true, false);
    for (int r = 0; r < TENEventTable::SwellRows; ++r) {
        std::vector<std::string> cells = {TENEventTable::SwellRowText(r)};
        for (int c = 0; c < TENEventTable::SwellCols; ++c)
            cells.push_back(std::to_string(R.Events.Swells[size_t(r)][size_t(c)]));
        P.Row(xs, cells, false, r % 2 == 1);
    }
    if (R.EventLines.empty()) return;
    P.Heading("Ereignisliste");
    const std::vector<double> xl = {0, 130, 260, 320, 420};
    const std::vector<std::string> head = {"Zeit", "Ereignis", "Phase", "u in %", "Dauer in s"};
    P.Row(xl, head, true, false);
    // A long list is cut: the table above counts every event anyway.
    constexpr size_t CMaxLines = 400;
    for (size_t k = 0; k < R.EventLines.size() && k < CMaxLines; ++k) {
        const TENEventLine& e = R.EventLines[k];
        // A list that goes on over the page repeats its head.
        if (P.Y + 16 > P.Height - 30) {
            P.NewPage();
            P.Row(xl, head, true, false);
        }
        const char* kind = e.Type == etDip     ? "Spannungseinbruch"
                           : e.Type == etSwell ? "Spannungsüberhöhung"
                                               : "Unterbrechung";
        P.Row(xl,
              {LocalText(e.Local), kind, e.Phase ? Fmt("L%d", int(e.Phase)) : std::string("–"),
               DeNumber(e.Percent, 1), DeNumber(e.Seconds, 3)},
              false, k % 2 == 1);
    }
    if (R.EventLines.size() > CMaxLines)
        P.Line(Fmt("… und %d weitere Ereignisse", int(R.EventLines.size() - CMaxLines)), 8);
}

void StatisticPages(TPages& P, const TENStatistic& S) {
    P.NewPage();
    P.Heading(StatisticTitle(S.Disp));
    const double w = P.Width, h = 420;
    TPQPaintBoxHarm chart;
    FeedHarmChart(S, chart);
    chart.SetHrmActIdx(-1); // no detail box on paper
    chart.SetSize(w, h);
    P.Painter.save();
    P.Painter.translate(0, P.Y);
    {
        TPainterCanvas canvas(P.Painter, QRectF(0, 0, w, h));
        canvas.Font.Size = 8;
        chart.Paint(canvas);
    }
    P.Painter.restore();
    P.Y += h + 10;
    P.Line("Rot: 95-%-Wert, blau darüber: bis zum Maximum der ganzen Aufzeichnung; Balken je Kanal.", 8);
    if (S.Normalization)
        P.Line("Normiert: jeder Grenzwert liegt auf der Linie „Grenzwert“; ein Balken darüber überschreitet "
               "ihn.",
               8);
}

} // namespace

std::string StatisticTitle(int Disp) {
    switch (Disp) {
    case sdHrmULE:
        return "Statistik Harmonische – Spannung Leiter–Erde";
    case sdHrmULL:
        return "Statistik Harmonische – Spannung Leiter–Leiter";
    case sdHrmIL:
        return "Statistik Harmonische – Strom";
    case sdIHrmULE:
        return "Statistik Interharmonische – Spannung Leiter–Erde";
    case sdIHrmULL:
        return "Statistik Interharmonische – Spannung Leiter–Leiter";
    case sdIHrmIL:
        return "Statistik Zwischenharmonische – Strom";
    case sdFrqBandULE:
        return "Statistik 2,0 - 9,0 kHz – Spannung Leiter–Erde";
    case sdFrqBandULL:
        return "Statistik 2,0 - 9,0 kHz – Spannung Leiter–Leiter";
    case sdFrqBandIL:
        return "Statistik 2,0 - 9,0 kHz – Strom";
    default:
        return "Statistik";
    }
}

bool WriteENReportPdf(const TENReport& Report, const std::string& Path, std::string& Error,
                      const std::function<void(int)>& Progress) {
    // Written beside the target and renamed at the end: a report is there whole or not at all.
    QSaveFile file(Q(Path));
    if (!file.open(QIODevice::WriteOnly)) {
        Error = "Die Datei " + Path + " kann nicht geschrieben werden: " + file.errorString().toStdString();
        return false;
    }
    {
        QPdfWriter pdf(&file);
        pdf.setPageSize(QPageSize(QPageSize::A4));
        pdf.setResolution(72);
        pdf.setPageMargins(QMarginsF(40, 40, 40, 36), QPageLayout::Point);
        pdf.setTitle(Q("EN 50160 – " + Report.Plant + " " + Report.Field));
        pdf.setCreator("Marlin Lite");
        QPainter painter;
        if (!painter.begin(&pdf)) {
            file.cancelWriting();
            Error = "Die Datei " + Path + " kann nicht geschrieben werden.";
            return false;
        }
        TPages pages(pdf, painter, Report, Progress);
        Cover(pages, Report);
        WeekTables(pages, Report);
        EventPages(pages, Report);
        for (const TENStatistic& s : Report.Statistics)
            StatisticPages(pages, s);
        if (Progress) Progress(pages.Page);
        painter.end();
    }
    if (!file.commit()) {
        Error = "Die Datei " + Path + " kann nicht geschrieben werden: " + file.errorString().toStdString();
        return false;
    }
    return true;
}

} // namespace ferro
