#pragma once
// Draws the images of the parameter grid's cells (a tick or a cross for a switch, a list mark for a
// choice) and makes the value editor, whose keys the grid filters.

#include <QPixmap>
#include <QStyledItemDelegate>

namespace ferro {

class TFerroGridDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    // `KeyFilter` watches the keys of every editor made here.
    TFerroGridDelegate(QObject* KeyFilter, QObject* Parent);

    void paint(QPainter* Painter, const QStyleOptionViewItem& Option,
               const QModelIndex& Index) const override;
    QWidget* createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                          const QModelIndex& Index) const override;

    QPixmap FImgBoolTrue, FImgBoolFalse, FImgList;

private:
    void PrepareImages();
    QObject* FKeyFilter;
};

} // namespace ferro
