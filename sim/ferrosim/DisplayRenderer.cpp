#include "ferrosim/DisplayRenderer.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/MeasurementEngine.h"

#include <QBuffer>
#include <QDateTime>
#include <QImage>
#include <QPainter>

namespace ferro::sim {

namespace {

const char* const kMenu[] = {"Spannungen", "Stroeme", "Leistung", "Netz"};

QString Num(double v, int digits) {
    return QString::number(v, 'f', digits);
}

// The lines a page shows, from one measurement; with details a second set of quantities.
QStringList PageLines(const Measurement& m, int page, bool details) {
    QStringList l;
    switch (page) {
    case 0:
        for (size_t p = 0; p < 3; ++p)
            l << (details ? QString("U%1%2  %3 V")
                                .arg(p + 1)
                                .arg(p == 2 ? 1 : p + 2)
                                .arg(Num(m.ch[chU12 + p].rms, 2))
                          : QString("U%1  %2 V").arg(p + 1).arg(Num(m.ch[chU1 + p].rms, 2)));
        l << (details ? QString("THD U1  %1 %").arg(Num(m.ch[chU1].thd, 2))
                      : QString("UN  %1 V").arg(Num(m.ch[chUN].rms, 2)));
        break;
    case 1:
        for (size_t p = 0; p < 3; ++p)
            l << (details ? QString("THD I%1  %2 %").arg(p + 1).arg(Num(m.ch[chI1 + p].thd, 2))
                          : QString("I%1  %2 A").arg(p + 1).arg(Num(m.ch[chI1 + p].rms, 2)));
        l << QString("IN  %1 A").arg(Num(m.ch[chIN].rms, 2));
        break;
    case 2:
        for (size_t p = 0; p < 3; ++p)
            l << (details ? QString("Q%1  %2 kvar").arg(p + 1).arg(Num(m.power[p].Q / 1000, 2))
                          : QString("P%1  %2 kW").arg(p + 1).arg(Num(m.power[p].P / 1000, 2)));
        l << QString("PF  %1").arg(Num(m.power[3].PF, 3));
        break;
    default:
        l << QString("f  %1 Hz").arg(Num(m.frequency, 3));
        l << QString("Unsym.  %1 %").arg(Num(m.u.unbalance, 2));
        if (details)
            l << QString("fmin %1 Hz").arg(Num(m.fMin, 3)) << QString("fmax %1 Hz").arg(Num(m.fMax, 3));
        break;
    }
    return l;
}

} // namespace

std::vector<uint8_t> DisplayRenderer::png() const {
    QImage img(Width, Height, QImage::Format_RGB32);
    img.fill(QColor(16, 32, 48));
    {
        QPainter p(&img);
        p.setPen(QColor(230, 230, 230));
        QFont font = p.font();
        font.setPixelSize(14);
        p.setFont(font);
        const Profile& prof = instrument_.profile();
        const uint32_t now = instrument_.now();
        const int page = instrument_.displayPage();
        const bool details = instrument_.displayDetails();
        // What the instrument measured over the last ten cycles, as its own screen shows it.
        const Measurement m =
            MeasurementEngine(instrument_.supply()).measure(instrument_.nowNs(), 10, instrument_.nowNs());
        p.drawText(8, 18, QString::fromStdString(prof.device));
        p.drawText(220, 18, QDateTime::fromSecsSinceEpoch(now, Qt::UTC).toString("hh:mm:ss"));
        p.drawLine(0, 26, Width, 26);
        // The menu on the left, the chosen entry inverted; its values on the right.
        for (int i = 0; i < 4; ++i) {
            const QRect r(4, 34 + i * 30, 100, 26);
            if (i == page) {
                p.fillRect(r, QColor(230, 230, 230));
                p.setPen(QColor(16, 32, 48));
            }
            p.drawText(r.adjusted(6, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft,
                       QString::fromLatin1(kMenu[i]));
            p.setPen(QColor(230, 230, 230));
        }
        p.drawLine(110, 30, 110, Height - 28);
        const QStringList lines = PageLines(m, page, details);
        for (int i = 0; i < lines.size(); ++i)
            p.drawText(122, 54 + 32 * i, lines[i]);
        if (details) p.drawText(122, Height - 36, "Details");
        p.drawText(8, Height - 10, QString::fromStdString(prof.plant + " / " + prof.bay));
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    img.save(&buffer, "PNG");
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

} // namespace ferro::sim
