#include "status/FrameStatDrives.h"
#include "status/FrameStatRows.h"

#include "charts/PainterCanvas.h"
#include "status/DrivePaint.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace ferro {

namespace {

constexpr int CRingSize = 150;
constexpr int CBarWidth = 320, CBarHeight = 14;

QLabel* Swatch(TAlphaColor c, const QString& text, QWidget* parent) {
    auto* l = new QLabel(QString("<span style='color:#%1'>&#9632;</span> %2")
                             .arg(QString::number(c & 0xFFFFFF, 16).rightJustified(6, '0'), text),
                         parent);
    return l;
}

uint64_t Number(const QLabel* l) {
    return l->text().section(' ', 0, 0).toULongLong();
}

} // namespace

TFrameDrives::TFrameDrives(QWidget* Parent) : QWidget(Parent) {
    setObjectName("FrameDrives");
    auto* outer = new QVBoxLayout(this);
    AddRefreshBar(this, outer, [this] {
        if (FOnRefresh) FOnRefresh();
    });
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* inner = new QWidget;
    auto* v = new QVBoxLayout(inner);
    v->addWidget(MakeDrive("Flash-Speicher", "Flash", FFlash, &FBMPFlash));
    v->addWidget(MakeDrive("RAM-Disk", "Ram", FRam, &FBMPRam));
    grpboxSD = MakeDrive("SD-Karte", "SD", FSD, &FBMPSD);
    grpboxSD->setObjectName("grpboxSD");
    v->addWidget(grpboxSD);
    v->addStretch();
    scroll->setWidget(inner);
    outer->addWidget(scroll, 1);
    txtFlashTotalVal = FFlash.Total, txtFlashUsedVal = FFlash.Used, txtFlashFreeVal = FFlash.Free,
    txtFlashBadVal = FFlash.Bad;
    txtRamTotalVal = FRam.Total, txtRamUsedVal = FRam.Used, txtRamFreeVal = FRam.Free,
    txtRamBadVal = FRam.Bad;
    txtSDTotalVal = FSD.Total, txtSDUsedVal = FSD.Used, txtSDFreeVal = FSD.Free, txtSDBadVal = FSD.Bad;
}

QGroupBox* TFrameDrives::MakeDrive(const QString& Title, const QString& Key, TDriveUi& Ui, QImage* Bitmap) {
    auto* box = new QGroupBox(Title);
    box->setObjectName("grpbox" + Key);
    auto* g = new QGridLayout(box);
    const char* captions[4] = {"Gesamt", "Belegt", "Frei", "Defekt"};
    const char* parts[4] = {"Total", "Used", "Free", "Bad"};
    QLabel** values[4] = {&Ui.Total, &Ui.Used, &Ui.Free, &Ui.Bad};
    for (int i = 0; i < 4; ++i) {
        g->addWidget(new QLabel(captions[i], box), i, 0);
        *values[i] = new QLabel("–", box);
        (*values[i])->setObjectName(QString("txt%1%2Val").arg(Key, parts[i]));
        (*values[i])->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        (*values[i])->setMinimumWidth(90);
        g->addWidget(*values[i], i, 1);
    }
    Ui.Ring = new QLabel(box);
    Ui.Ring->setObjectName("pb" + Key + "Ring");
    Ui.Ring->setFixedSize(CRingSize, CRingSize);
    g->addWidget(Ui.Ring, 0, 2, 4, 1, Qt::AlignRight);
    Ui.Bar = new QLabel(box);
    Ui.Bar->setObjectName("pb" + Key + "Bar");
    Ui.Bar->setFixedSize(CBarWidth, CBarHeight);
    g->addWidget(Ui.Bar, 4, 0, 1, 3);
    auto* legend = new QWidget(box);
    auto* lh = new QHBoxLayout(legend);
    lh->setContentsMargins(0, 0, 0, 0);
    lh->addWidget(Swatch(TDrivePaint::CUsedColor, "belegt", legend));
    lh->addWidget(Swatch(TDrivePaint::CFreeColor, "frei", legend));
    lh->addWidget(Swatch(TDrivePaint::CBadColor, "defekt", legend));
    lh->addStretch();
    g->addWidget(legend, 5, 0, 1, 3);
    g->setColumnStretch(1, 1);
    Ui.Bitmap = Bitmap;
    return box;
}

void TFrameDrives::SetDrive(const std::string& Name, const TDriveValues& Bytes) {
    TDriveUi* ui = Name == "flashdrive0" ? &FFlash
                   : Name == "ramdrive0" ? &FRam
                   : Name == "sd0"       ? &FSD
                                         : nullptr;
    if (!ui || !Bytes.Present) return;
    ui->Total->setText(QString::fromStdString(MegaBytes(Bytes.Total)) + " MB");
    ui->Used->setText(QString::fromStdString(MegaBytes(Bytes.Used)) + " MB");
    ui->Free->setText(QString::fromStdString(MegaBytes(Bytes.Free)) + " MB");
    ui->Bad->setText(QString::fromStdString(MegaBytes(Bytes.Bad)) + " MB");
}

void TFrameDrives::ShowCard(bool Shown) {
    grpboxSD->setVisible(Shown);
}

void TFrameDrives::Paint(TDriveUi& Ui) {
    TDriveValues d;
    d.Total = Number(Ui.Total), d.Used = Number(Ui.Used), d.Free = Number(Ui.Free), d.Bad = Number(Ui.Bad);
    const qreal scale = devicePixelRatioF();
    auto draw = [&](QImage& image, QLabel* box, bool ring) {
        image = QImage(int(box->width() * scale), int(box->height() * scale),
                       QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        TPainterCanvas canvas(image);
        if (ring)
            TDrivePaint::PaintPerc(canvas, image.width(), image.height(), d);
        else
            TDrivePaint::PaintBar(canvas, image.width(), image.height(), d);
        QPixmap pm = QPixmap::fromImage(image);
        pm.setDevicePixelRatio(scale);
        box->setPixmap(pm);
    };
    QImage bar;
    draw(bar, Ui.Bar, false);
    draw(*Ui.Bitmap, Ui.Ring, true);
}

void TFrameDrives::PrepareBitmaps() {
    Paint(FFlash);
    Paint(FRam);
    Paint(FSD);
}

} // namespace ferro
