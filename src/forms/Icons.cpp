#include "forms/Icons.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace ferro {

namespace {

const char* ThemeName(TIconKind kind) {
    switch (kind) {
    case TIconKind::Secure:
        return "security-high";
    case TIconKind::Unsecure:
        return "security-low";
    case TIconKind::Add:
        return "list-add";
    case TIconKind::Edit:
        return "document-edit";
    case TIconKind::Remove:
        return "list-remove";
    case TIconKind::Connect:
        return "network-connect";
    case TIconKind::Disconnect:
        return "network-disconnect";
    case TIconKind::Parameter:
        return "document-properties";
    case TIconKind::Live:
        return "utilities-system-monitor";
    case TIconKind::Data:
        return "folder-download";
    case TIconKind::Offline:
        return "folder-open";
    case TIconKind::Firmware:
        return "system-software-update";
    case TIconKind::Status:
        return "dialog-information";
    case TIconKind::Key:
        return "dialog-password";
    case TIconKind::User:
        return "system-users";
    case TIconKind::Refresh:
        return "view-refresh";
    case TIconKind::Serial:
        return "drive-removable-media";
    case TIconKind::Network:
        return "network-wired";
    case TIconKind::Calibration:
        return "";
    }
    return "";
}

void DrawLock(QPainter& p, double s, bool closed, const QColor& c) {
    p.setPen(QPen(c.darker(130), s * 0.09, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    QRectF shackle(s * 0.28, s * 0.1, s * 0.44, s * 0.5);
    if (closed)
        p.drawArc(shackle, 0, 180 * 16);
    else
        p.drawArc(shackle.translated(s * 0.16, -s * 0.06), 20 * 16, 160 * 16);
    p.drawLine(QPointF(s * 0.28, s * 0.35), QPointF(s * 0.28, s * 0.45));
    if (closed) p.drawLine(QPointF(s * 0.72, s * 0.35), QPointF(s * 0.72, s * 0.45));
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    p.drawRoundedRect(QRectF(s * 0.18, s * 0.44, s * 0.64, s * 0.46), s * 0.08, s * 0.08);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(s * 0.5, s * 0.64), s * 0.06, s * 0.06);
}

void DrawPlusMinus(QPainter& p, double s, bool plus, const QColor& c) {
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    p.drawEllipse(QRectF(s * 0.08, s * 0.08, s * 0.84, s * 0.84));
    p.setPen(QPen(Qt::white, s * 0.12, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.3, s * 0.5), QPointF(s * 0.7, s * 0.5));
    if (plus) p.drawLine(QPointF(s * 0.5, s * 0.3), QPointF(s * 0.5, s * 0.7));
}

void DrawPencil(QPainter& p, double s) {
    p.setPen(QPen(QColor(0x55, 0x55, 0x55), s * 0.05));
    p.setBrush(QColor(0xF0, 0xB0, 0x30));
    QPolygonF body;
    body << QPointF(s * 0.2, s * 0.68) << QPointF(s * 0.65, s * 0.23) << QPointF(s * 0.8, s * 0.38)
         << QPointF(s * 0.35, s * 0.83);
    p.drawPolygon(body);
    p.setBrush(QColor(0x44, 0x44, 0x44));
    QPolygonF tip;
    tip << QPointF(s * 0.2, s * 0.68) << QPointF(s * 0.35, s * 0.83) << QPointF(s * 0.12, s * 0.9);
    p.drawPolygon(tip);
}

void DrawPlug(QPainter& p, double s, bool joined) {
    const QColor c(0x2E, 0x6D, 0xB4);
    p.setPen(QPen(c, s * 0.1, Qt::SolidLine, Qt::RoundCap));
    double gap = joined ? 0.0 : s * 0.12;
    p.drawLine(QPointF(s * 0.08, s * 0.5), QPointF(s * 0.3, s * 0.5));
    p.drawLine(QPointF(s * 0.7, s * 0.5), QPointF(s * 0.92, s * 0.5));
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    p.drawRoundedRect(QRectF(s * 0.28 - gap, s * 0.32, s * 0.2, s * 0.36), s * 0.04, s * 0.04);
    p.drawRoundedRect(QRectF(s * 0.52 + gap, s * 0.32, s * 0.2, s * 0.36), s * 0.04, s * 0.04);
}

void DrawWave(QPainter& p, double s, const QColor& c) {
    p.setPen(QPen(QColor(0x88, 0x88, 0x88), s * 0.05));
    p.setBrush(QColor(0xFA, 0xFA, 0xFA));
    p.drawRoundedRect(QRectF(s * 0.06, s * 0.14, s * 0.88, s * 0.72), s * 0.08, s * 0.08);
    QPainterPath wave;
    for (int i = 0; i <= 40; ++i) {
        double x = s * (0.12 + 0.76 * i / 40.0);
        double y = s * (0.5 - 0.22 * std::sin(i / 40.0 * 2 * 3.14159265 * 1.5));
        if (i == 0)
            wave.moveTo(x, y);
        else
            wave.lineTo(x, y);
    }
    p.setPen(QPen(c, s * 0.07));
    p.setBrush(Qt::NoBrush);
    p.drawPath(wave);
}

void DrawFolder(QPainter& p, double s, const QColor& c, bool arrow) {
    p.setPen(QPen(c.darker(140), s * 0.04));
    p.setBrush(c);
    QPainterPath f;
    f.moveTo(s * 0.08, s * 0.25);
    f.lineTo(s * 0.38, s * 0.25);
    f.lineTo(s * 0.46, s * 0.33);
    f.lineTo(s * 0.92, s * 0.33);
    f.lineTo(s * 0.92, s * 0.85);
    f.lineTo(s * 0.08, s * 0.85);
    f.closeSubpath();
    p.drawPath(f);
    if (arrow) {
        p.setPen(QPen(Qt::white, s * 0.09, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(s * 0.5, s * 0.42), QPointF(s * 0.5, s * 0.74));
        p.drawLine(QPointF(s * 0.38, s * 0.62), QPointF(s * 0.5, s * 0.74));
        p.drawLine(QPointF(s * 0.62, s * 0.62), QPointF(s * 0.5, s * 0.74));
    }
}

void DrawChip(QPainter& p, double s) {
    p.setPen(QPen(QColor(0x33, 0x33, 0x33), s * 0.05));
    for (int i = 0; i < 4; ++i) {
        double o = s * (0.26 + 0.16 * i);
        p.drawLine(QPointF(o, s * 0.08), QPointF(o, s * 0.2));
        p.drawLine(QPointF(o, s * 0.8), QPointF(o, s * 0.92));
        p.drawLine(QPointF(s * 0.08, o), QPointF(s * 0.2, o));
        p.drawLine(QPointF(s * 0.8, o), QPointF(s * 0.92, o));
    }
    p.setBrush(QColor(0x3A, 0x3F, 0x4A));
    p.drawRoundedRect(QRectF(s * 0.2, s * 0.2, s * 0.6, s * 0.6), s * 0.06, s * 0.06);
    p.setPen(QPen(QColor(0x7F, 0xD0, 0x7F), s * 0.08, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.5, s * 0.62), QPointF(s * 0.5, s * 0.36));
    p.drawLine(QPointF(s * 0.4, s * 0.46), QPointF(s * 0.5, s * 0.36));
    p.drawLine(QPointF(s * 0.6, s * 0.46), QPointF(s * 0.5, s * 0.36));
}

void DrawSliders(QPainter& p, double s) {
    const double xs[] = {0.25, 0.5, 0.75};
    const double knobs[] = {0.62, 0.32, 0.52};
    for (int i = 0; i < 3; ++i) {
        p.setPen(QPen(QColor(0x77, 0x77, 0x77), s * 0.07, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(s * xs[i], s * 0.12), QPointF(s * xs[i], s * 0.88));
        p.setPen(QPen(QColor(0x22, 0x4E, 0x8A), s * 0.04));
        p.setBrush(QColor(0x4A, 0x90, 0xD9));
        p.drawRoundedRect(QRectF(s * (xs[i] - 0.1), s * (knobs[i] - 0.07), s * 0.2, s * 0.14), s * 0.03,
                          s * 0.03);
    }
}

void DrawInfo(QPainter& p, double s) {
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x2E, 0x6D, 0xB4));
    p.drawEllipse(QRectF(s * 0.08, s * 0.08, s * 0.84, s * 0.84));
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(s * 0.5, s * 0.3), s * 0.07, s * 0.07);
    p.drawRoundedRect(QRectF(s * 0.43, s * 0.42, s * 0.14, s * 0.36), s * 0.04, s * 0.04);
}

void DrawKey(QPainter& p, double s) {
    const QColor c(0xC8, 0x96, 0x1E);
    p.setPen(QPen(c, s * 0.1, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(s * 0.3, s * 0.5), s * 0.16, s * 0.16);
    p.drawLine(QPointF(s * 0.46, s * 0.5), QPointF(s * 0.9, s * 0.5));
    p.drawLine(QPointF(s * 0.78, s * 0.5), QPointF(s * 0.78, s * 0.66));
    p.drawLine(QPointF(s * 0.66, s * 0.5), QPointF(s * 0.66, s * 0.62));
}

void DrawUser(QPainter& p, double s) {
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x5B, 0x6B, 0x80));
    p.drawEllipse(QPointF(s * 0.5, s * 0.32), s * 0.17, s * 0.17);
    QPainterPath b;
    b.moveTo(s * 0.16, s * 0.9);
    b.cubicTo(s * 0.16, s * 0.52, s * 0.84, s * 0.52, s * 0.84, s * 0.9);
    b.closeSubpath();
    p.drawPath(b);
}

void DrawRefresh(QPainter& p, double s) {
    const QColor c(0x2E, 0x8B, 0x57);
    p.setPen(QPen(c, s * 0.1, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(s * 0.18, s * 0.18, s * 0.64, s * 0.64), 60 * 16, 280 * 16);
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    QPolygonF head;
    head << QPointF(s * 0.56, s * 0.06) << QPointF(s * 0.78, s * 0.2) << QPointF(s * 0.56, s * 0.34);
    p.drawPolygon(head);
}

// A dial with its needle on the mark.
void DrawCalibration(QPainter& p, double s) {
    const QColor c(0x8B, 0x45, 0x13);
    p.setPen(QPen(c, s * 0.08, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(s * 0.1, s * 0.2, s * 0.8, s * 0.8), 20 * 16, 140 * 16);
    for (int k = 0; k < 5; ++k) {
        const double a = (160.0 - k * 35.0) * M_PI / 180.0;
        p.drawLine(QPointF(s * 0.5 + std::cos(a) * s * 0.3, s * 0.6 - std::sin(a) * s * 0.3),
                   QPointF(s * 0.5 + std::cos(a) * s * 0.4, s * 0.6 - std::sin(a) * s * 0.4));
    }
    p.setPen(QPen(QColor(0xC0, 0, 0), s * 0.08, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.5, s * 0.62), QPointF(s * 0.5, s * 0.26));
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    p.drawEllipse(QPointF(s * 0.5, s * 0.62), s * 0.07, s * 0.07);
}

void DrawSerial(QPainter& p, double s) {
    p.setPen(QPen(QColor(0x44, 0x44, 0x44), s * 0.05));
    p.setBrush(QColor(0xB0, 0xB8, 0xC4));
    QPolygonF d;
    d << QPointF(s * 0.08, s * 0.3) << QPointF(s * 0.92, s * 0.3) << QPointF(s * 0.8, s * 0.72)
      << QPointF(s * 0.2, s * 0.72);
    p.drawPolygon(d);
    p.setBrush(QColor(0x33, 0x33, 0x33));
    for (int i = 0; i < 5; ++i)
        p.drawEllipse(QPointF(s * (0.24 + 0.13 * i), s * 0.43), s * 0.035, s * 0.035);
    for (int i = 0; i < 4; ++i)
        p.drawEllipse(QPointF(s * (0.3 + 0.13 * i), s * 0.58), s * 0.035, s * 0.035);
}

void DrawNetwork(QPainter& p, double s) {
    p.setPen(QPen(QColor(0x44, 0x44, 0x44), s * 0.05));
    p.setBrush(QColor(0x2E, 0x6D, 0xB4));
    p.drawRoundedRect(QRectF(s * 0.2, s * 0.12, s * 0.6, s * 0.4), s * 0.05, s * 0.05);
    p.drawLine(QPointF(s * 0.5, s * 0.52), QPointF(s * 0.5, s * 0.72));
    p.drawLine(QPointF(s * 0.15, s * 0.72), QPointF(s * 0.85, s * 0.72));
    p.drawRect(QRectF(s * 0.08, s * 0.72, s * 0.14, s * 0.14));
    p.drawRect(QRectF(s * 0.78, s * 0.72, s * 0.14, s * 0.14));
}

} // namespace

QPixmap DrawnIcon(TIconKind kind, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const double s = size;
    switch (kind) {
    case TIconKind::Secure:
        DrawLock(p, s, true, QColor(0x2E, 0x8B, 0x57));
        break;
    case TIconKind::Unsecure:
        DrawLock(p, s, false, QColor(0xC8, 0x6E, 0x1E));
        break;
    case TIconKind::Add:
        DrawPlusMinus(p, s, true, QColor(0x2E, 0x8B, 0x57));
        break;
    case TIconKind::Remove:
        DrawPlusMinus(p, s, false, QColor(0xC0, 0x39, 0x2B));
        break;
    case TIconKind::Edit:
        DrawPencil(p, s);
        break;
    case TIconKind::Connect:
        DrawPlug(p, s, true);
        break;
    case TIconKind::Disconnect:
        DrawPlug(p, s, false);
        break;
    case TIconKind::Parameter:
        DrawSliders(p, s);
        break;
    case TIconKind::Live:
        DrawWave(p, s, QColor(0xC0, 0x39, 0x2B));
        break;
    case TIconKind::Data:
        DrawFolder(p, s, QColor(0x4A, 0x90, 0xD9), true);
        break;
    case TIconKind::Offline:
        DrawFolder(p, s, QColor(0xE8, 0xB8, 0x4A), false);
        break;
    case TIconKind::Firmware:
        DrawChip(p, s);
        break;
    case TIconKind::Status:
        DrawInfo(p, s);
        break;
    case TIconKind::Key:
        DrawKey(p, s);
        break;
    case TIconKind::User:
        DrawUser(p, s);
        break;
    case TIconKind::Refresh:
        DrawRefresh(p, s);
        break;
    case TIconKind::Serial:
        DrawSerial(p, s);
        break;
    case TIconKind::Network:
        DrawNetwork(p, s);
        break;
    case TIconKind::Calibration:
        DrawCalibration(p, s);
        break;
    }
    return pm;
}

QIcon FerroIcon(TIconKind kind) {
    QIcon themed = QIcon::fromTheme(QString::fromLatin1(ThemeName(kind)));
    if (!themed.isNull()) return themed;
    QIcon drawn;
    for (int size : {16, 22, 32, 48})
        drawn.addPixmap(DrawnIcon(kind, size));
    return drawn;
}

} // namespace ferro
