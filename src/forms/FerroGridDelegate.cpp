#include "forms/FerroGridDelegate.h"

#include "forms/FerroGridModel.h"

#include <QApplication>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>

namespace ferro {

TFerroGridDelegate::TFerroGridDelegate(QObject* KeyFilter, QObject* Parent)
    : QStyledItemDelegate(Parent), FKeyFilter(KeyFilter) {
    PrepareImages();
}

void TFerroGridDelegate::PrepareImages() {
    const int s = 16;
    auto canvas = [s] {
        QPixmap p(s, s);
        p.fill(Qt::transparent);
        return p;
    };
    FImgBoolTrue = canvas();
    {
        QPainter p(&FImgBoolTrue);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(QColor(0x2E, 0x7D, 0x32));
        p.setPen(Qt::NoPen);
        p.drawRoundedRect(QRectF(0.5, 0.5, s - 1, s - 1), 3, 3);
        p.setPen(QPen(Qt::white, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        QPainterPath tick;
        tick.moveTo(3.5, 8.5);
        tick.lineTo(6.5, 11.5);
        tick.lineTo(12.5, 4.5);
        p.drawPath(tick);
    }
    FImgBoolFalse = canvas();
    {
        QPainter p(&FImgBoolFalse);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(Qt::white);
        p.setPen(QPen(QColor(0x75, 0x75, 0x75), 1));
        p.drawRoundedRect(QRectF(0.5, 0.5, s - 1, s - 1), 3, 3);
        p.setPen(QPen(QColor(0xB7, 0x1C, 0x1C), 2, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(4.5, 4.5), QPointF(11.5, 11.5));
        p.drawLine(QPointF(11.5, 4.5), QPointF(4.5, 11.5));
    }
    FImgList = canvas();
    {
        QPainter p(&FImgList);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0x42, 0x42, 0x42));
        QPolygonF arrow({QPointF(3, 6), QPointF(13, 6), QPointF(8, 11.5)});
        p.drawPolygon(arrow);
    }
}

void TFerroGridDelegate::paint(QPainter* Painter, const QStyleOptionViewItem& Option,
                               const QModelIndex& Index) const {
    const auto* model = qobject_cast<const TFerroGridModel*>(Index.model());
    if (!model || Index.row() >= int(model->Rows().size()))
        return QStyledItemDelegate::paint(Painter, Option, Index);
    const TGridRow& r = model->Rows()[size_t(Index.row())];
    const QRect cell = Option.rect;
    const int col = Index.column();
    if (col == TFerroGridModel::ColVal && r.IsList) {
        // The text keeps clear of the list mark.
        QStyleOptionViewItem text = Option;
        text.rect.setRight(cell.right() - FImgList.width() - 6);
        Painter->fillRect(cell, model->data(Index, Qt::BackgroundRole).value<QBrush>());
        QStyledItemDelegate::paint(Painter, text, Index);
        Painter->drawPixmap(cell.right() - 2 - FImgList.width(), cell.center().y() - FImgList.height() / 2,
                            FImgList);
        return;
    }
    QStyledItemDelegate::paint(Painter, Option, Index);
    const bool isSwitch = r.RowTyp == grtBoolean || r.RowTyp == grtDatapoint;
    if (isSwitch && !r.IsList && (col == TFerroGridModel::ColVal || col == TFerroGridModel::ColDef)) {
        const bool on = (col == TFerroGridModel::ColVal ? r.RowVal : r.RowDef).AsInt() != 0;
        const QPixmap& img = on ? FImgBoolTrue : FImgBoolFalse;
        Painter->drawPixmap(cell.left() + 2, cell.center().y() - img.height() / 2, img);
    }
}

QWidget* TFerroGridDelegate::createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                                          const QModelIndex& Index) const {
    QWidget* editor = QStyledItemDelegate::createEditor(Parent, Option, Index);
    editor->setObjectName("edtValue");
    if (FKeyFilter) editor->installEventFilter(FKeyFilter);
    return editor;
}

} // namespace ferro
