#include "forms/FormColPic.h"

#include <QGridLayout>
#include <QPainter>
#include <QPixmap>
#include <QToolButton>

namespace ferro {

namespace {
QIcon Swatch(TAlphaColor c) {
    QPixmap pm(28, 20);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QColor(0x60, 0x60, 0x60));
    p.setBrush(QColor::fromRgba(c));
    p.drawRoundedRect(QRectF(0.5, 0.5, 27, 19), 3, 3);
    return QIcon(pm);
}
} // namespace

TFormColPic::TFormColPic(std::vector<TAlphaColor> Colors, QWidget* Parent)
    : QDialog(Parent), FColors(std::move(Colors)) {
    setObjectName("FormColPic");
    setWindowTitle("Farbe wählen");
    if (FColors.empty()) FColors.assign(TColArr.begin(), TColArr.end());
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(10, 10, 10, 10);
    grid->setSpacing(6);
    const int perRow = 4;
    for (size_t i = 0; i < FColors.size(); ++i) {
        auto* b = new QToolButton(this);
        b->setObjectName(QString("btnColor%1").arg(i));
        b->setIcon(Swatch(FColors[i]));
        b->setIconSize(QSize(28, 20));
        b->setAutoRaise(true);
        b->setToolTip(QColor::fromRgba(FColors[i]).name(QColor::HexRgb).toUpper());
        grid->addWidget(b, int(i) / perRow, int(i) % perRow);
        connect(b, &QToolButton::clicked, this, [this, i] { SelectIndex(int(i)); });
        FSwatches.push_back(b);
    }
}

void TFormColPic::SelectIndex(int Index) {
    if (Index < 0 || Index >= int(FColors.size())) return;
    FSelectedIndex = Index;
    FSelected = FColors[size_t(Index)];
    if (FOnColorSelected) FOnColorSelected(FSelected);
    accept();
}

} // namespace ferro
