#include "forms/ValueGridModel.h"

namespace ferro {

void TValueGridModel::Reset(QStringList Headers, int Rows, TGetter Getter) {
    beginResetModel();
    FHeaders = std::move(Headers);
    FRows = Rows < 0 ? 0 : Rows;
    FGetter = std::move(Getter);
    endResetModel();
}

void TValueGridModel::SetHeader(int Col, const QString& Text) {
    if (Col < 0 || Col >= FHeaders.size()) return;
    FHeaders[Col] = Text;
    emit headerDataChanged(Qt::Horizontal, Col, Col);
}

void TValueGridModel::SetRowCount(int Rows) {
    beginResetModel();
    FRows = Rows < 0 ? 0 : Rows;
    endResetModel();
}

void TValueGridModel::Refresh(int Rows) {
    Rows = Rows < 0 ? 0 : Rows;
    if (Rows > FRows) {
        beginInsertRows(QModelIndex(), FRows, Rows - 1);
        FRows = Rows;
        endInsertRows();
    } else if (Rows < FRows) {
        beginRemoveRows(QModelIndex(), Rows, FRows - 1);
        FRows = Rows;
        endRemoveRows();
    }
    if (FRows > 0 && !FHeaders.isEmpty())
        emit dataChanged(index(0, 0), index(FRows - 1, int(FHeaders.size()) - 1), {Qt::DisplayRole});
}

int TValueGridModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : FRows;
}

int TValueGridModel::columnCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : int(FHeaders.size());
}

QVariant TValueGridModel::data(const QModelIndex& Index, int Role) const {
    if (Role != Qt::DisplayRole || !Index.isValid() || !FGetter) return {};
    return QString::fromStdString(FGetter(Index.column(), Index.row()));
}

QVariant TValueGridModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Role != Qt::DisplayRole) return {};
    if (Orientation == Qt::Vertical) return Section + 1;
    return Section < FHeaders.size() ? QVariant(FHeaders[Section]) : QVariant();
}

} // namespace ferro
