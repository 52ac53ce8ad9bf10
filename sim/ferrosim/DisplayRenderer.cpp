#include "ferrosim/DisplayRenderer.h"

#include "ferrosim/Instrument.h"

#include <QBuffer>
#include <QDateTime>
#include <QImage>
#include <QPainter>

#include <cmath>

namespace ferro::sim {

namespace {
const char* const kPages[] = {"Spannungen", "Stroeme", "Leistung", "Frequenz"};
}

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
        uint32_t now = instrument_.now();
        int page = instrument_.displayPage();
        p.drawText(8, 18, QString::fromStdString(prof.device));
        p.drawText(200, 18, QDateTime::fromSecsSinceEpoch(now, Qt::UTC).toString("hh:mm:ss"));
        p.drawLine(0, 26, Width, 26);
        p.drawText(8, 46, QString::fromLatin1(kPages[page % 4]));
        // A slow wobble so that successive screens differ like a live instrument's.
        double w = std::sin(double(now % 600) / 600.0 * 6.2832);
        for (int i = 0; i < 3; ++i) {
            QString line;
            switch (page % 4) {
            case 0:
                line = QString("U%1  %2 V").arg(i + 1).arg(230.0 + w + i * 0.3, 0, 'f', 2);
                break;
            case 1:
                line = QString("I%1  %2 A").arg(i + 1).arg(5.0 + w * 0.1 + i * 0.05, 0, 'f', 3);
                break;
            case 2:
                line = QString("P%1  %2 kW").arg(i + 1).arg(1.1 + w * 0.02, 0, 'f', 3);
                break;
            default:
                line = QString("f  %1 Hz").arg(50.0 + w * 0.01, 0, 'f', 3);
                break;
            }
            p.drawText(24, 80 + 36 * i, line);
        }
        p.drawText(8, Height - 10, QString::fromStdString(prof.plant + " / " + prof.bay));
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    img.save(&buffer, "PNG");
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

} // namespace ferro::sim
