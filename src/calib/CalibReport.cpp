#include "calib/CalibReport.h"

#include "foundation/Format.h"

#include <QDir>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QPainter>
#include <QPdfWriter>

#include <algorithm>
#include <atomic>

namespace ferro {

namespace {

const char* const CChannelNames[8] = {"U1", "U2", "U3", "U4", "I1", "I2", "I3", "I4"};

std::string Field(const TCalibCertificate& c, const char* key) {
    auto it = c.Fields.find(key);
    return it == c.Fields.end() ? std::string() : it->second;
}

// Writes label/value lines down the page; the painter works in points of the PDF.
class TPageWriter {
public:
    TPageWriter(QPainter& p, double width) : P(p), W(width) {}
    void Title(const QString& t) {
        QFont f = P.font();
        f.setPointSizeF(16);
        f.setBold(true);
        P.setFont(f);
        P.drawText(QPointF(0, Y + 16), t);
        Y += 28;
        Normal();
    }
    void Heading(const QString& t) {
        Y += 6;
        QFont f = P.font();
        f.setBold(true);
        P.setFont(f);
        P.drawText(QPointF(0, Y + 11), t);
        P.drawLine(QPointF(0, Y + 14), QPointF(W, Y + 14));
        Y += 20;
        Normal();
    }
    // A label and its value; a long value wraps within its column.
    void Row(const QString& label, const std::string& value, double x = 0, double labelWidth = 150,
             double columnWidth = 0) {
        const double width = (columnWidth > 0 ? columnWidth : W - x) - labelWidth;
        P.drawText(QPointF(x, Y + 10), label);
        // The value's first line sits on the label's baseline.
        const QRectF box(x + labelWidth, Y + 10 - QFontMetricsF(P.font()).ascent(), width, 1000);
        const QString text = QString::fromStdString(value.empty() ? "–" : value);
        const QRectF used = P.boundingRect(box, Qt::TextWordWrap, text);
        P.drawText(box, Qt::TextWordWrap, text);
        Y += std::max(15.0, used.height() + 3);
    }
    double Y = 0;
    QPainter& P;

private:
    void Normal() {
        QFont f = P.font();
        f.setPointSizeF(9.5);
        f.setBold(false);
        P.setFont(f);
    }
    double W;
};

} // namespace

std::string TCalibReport::FileName(const std::string& Serial, const std::string& Date) {
    std::string name = "Kalibrierung_" + Serial + "_" + Date + ".pdf";
    for (char& c : name)
        if (c == '/' || c == '\\' || c == ':' || c == '*' || c == '?' || c == '"' || c == '<' || c == '>' ||
            c == '|' || (c >= 0 && c < ' '))
            c = '-';
    return name;
}

std::string TCalibReport::NewNumber(const std::string& Serial, int64_t NowMs) {
    static std::atomic<int> counter{0};
    return Fmt("KAL-%s-%lld-%d", Serial.c_str(), (long long)(NowMs / 1000), ++counter);
}

std::string TCalibReport::ChannelName(int Item) {
    return CChannelNames[Item % 8];
}

std::string TCalibReport::Write(const TCalibCertificate& Cert, const std::string& Folder,
                                std::string& Error) {
    if (!QDir().mkpath(QString::fromStdString(Folder))) {
        Error = "Der Ordner " + Folder + " kann nicht angelegt werden.";
        return std::string();
    }
    const QString path = QDir(QString::fromStdString(Folder))
                             .filePath(QString::fromStdString(
                                 FileName(Field(Cert, "DeviceNumber"), Field(Cert, "CheckDate"))));
    QPdfWriter pdf(path);
    pdf.setPageSize(QPageSize(QPageSize::A4));
    pdf.setResolution(72); // one unit is one point
    pdf.setPageMargins(QMarginsF(40, 40, 40, 40), QPageLayout::Point);
    pdf.setTitle("Kalibrierschein " + QString::fromStdString(Cert.Number));
    pdf.setCreator("Marlin Lite");
    QPainter painter;
    if (!painter.begin(&pdf)) {
        Error = "Die Datei " + path.toStdString() + " kann nicht geschrieben werden.";
        return std::string();
    }
    const double width = pdf.width();
    TPageWriter w(painter, width);
    w.Title("Kalibrierschein");
    w.Row("Zertifikat Nr.", Cert.Number);
    w.Heading("Gerät");
    w.Row("Gerätetyp", Field(Cert, "DeviceType"));
    w.Row("Seriennummer", Field(Cert, "DeviceNumber"));
    w.Row("Firmware", Cert.Firmware);
    w.Row("Programm", Field(Cert, "Programm"));
    w.Heading("Prüfung");
    w.Row("Name des Prüfers", Field(Cert, "UserName"));
    w.Row("Datum der Prüfung", Field(Cert, "CheckDate"));
    w.Row("Beginn der Prüfung", Field(Cert, "CheckTime"));
    w.Row("Lufttemperatur", Field(Cert, "AirTemp"));
    w.Row("relative Luftfeuchte", Field(Cert, "AitHum"));
    w.Row("Luftdruck", Field(Cert, "Pressure"));
    w.Heading("Prüfmittel");
    const double top = w.Y;
    for (int k = 1; k <= 2; ++k) {
        w.Y = top;
        const double x = (k - 1) * width / 2;
        const std::string n = std::to_string(k);
        w.Row("Model", Field(Cert, ("Model" + n).c_str()), x, 100, width / 2);
        w.Row("Seriennummer", Field(Cert, ("Serial" + n).c_str()), x, 100, width / 2);
        w.Row("Prüfmittel Nr.", Field(Cert, ("CheckNr" + n).c_str()), x, 100, width / 2);
        w.Row("Kalibriert bis", Field(Cert, ("CalTo" + n).c_str()), x, 100, width / 2);
        w.Row("Zertifikat Nr.", Field(Cert, ("CertNr" + n).c_str()), x, 100, width / 2);
    }
    if (!Field(Cert, "Frei1").empty())
        w.Row(QString::fromStdString(Field(Cert, "Frei1")), Field(Cert, "Frei1Val"));
    if (!Field(Cert, "Frei2").empty())
        w.Row(QString::fromStdString(Field(Cert, "Frei2")), Field(Cert, "Frei2Val"));
    w.Heading("Referenz");
    w.Row("Frequenz des Kalibrators", Cert.Frequency + " Hz");
    w.Row("Spannung (Kontrollmessung)", Cert.RefU + " V");
    w.Row("Strom (Kontrollmessung)", Cert.RefI + " A");
    w.Heading("Kanäle");
    const double rows = w.Y;
    for (int group = 0; group < 2; ++group) {
        w.Y = rows;
        const double x = group * width / 2;
        painter.drawText(QPointF(x, w.Y + 10), group == 0 ? "Verstärkung" : "Nullpunkt");
        w.Y += 15;
        for (int c = 0; c < 8; ++c) {
            const TChannelVerdict v = Cert.Verdicts[size_t(group * 8 + c)];
            w.Row(QString::fromStdString(ChannelName(c)),
                  v == TChannelVerdict::Ok       ? "in Ordnung"
                  : v == TChannelVerdict::Failed ? "fehlerhaft"
                                                 : "nicht geprüft",
                  x, 50, width / 2);
        }
    }
    w.Heading("Ergebnis");
    w.Row("Kalibration", Cert.Passed ? "erfolgreich" : "nicht erfolgreich");
    if (!Field(Cert, "Prescription").empty()) w.Row("Vorschriften", Field(Cert, "Prescription"));
    if (!Field(Cert, "Annotation").empty()) w.Row("Anmerkungen", Field(Cert, "Annotation"));
    painter.end();
    if (!QFileInfo(path).exists()) {
        Error = "Die Datei " + path.toStdString() + " kann nicht geschrieben werden.";
        return std::string();
    }
    return path.toStdString();
}

} // namespace ferro
