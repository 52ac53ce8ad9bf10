#include "forms/FerroGridModel.h"

#include "para/XMLLangu.h"

#include <QApplication>
#include <QBrush>
#include <QColor>

namespace ferro {

namespace {
QString Q(const std::string& S) {
    return QString::fromStdString(S);
}
bool IsSwitch(const TGridRow& R) {
    return R.RowTyp == grtBoolean || R.RowTyp == grtDatapoint;
}
} // namespace

TFerroGridModel::TFerroGridModel(QObject* Parent) : QAbstractTableModel(Parent) {}

void TFerroGridModel::SetRowCnt() {
    beginResetModel();
    FShown = int(FRowLst.size());
    endResetModel();
}

void TFerroGridModel::ClearList() {
    beginResetModel();
    FRowLst.clear();
    FShown = 0;
    endResetModel();
}

int TFerroGridModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : FShown;
}

int TFerroGridModel::columnCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : ColCount;
}

QString TFerroGridModel::GetValue(int Col, int Row) const {
    if (Row < 0 || Row >= int(FRowLst.size())) return QString();
    if (Col > ColMax || Col < 0) return "NaN";
    const TGridRow& r = FRowLst[size_t(Row)];
    const char sep = FDecimalSep;
    switch (Col) {
    case ColCap:
        return Q(r.RowCap);
    case ColVal:
        if (r.IsList) return Q(r.ListText(r.RowVal.AsString()));
        if (IsSwitch(r)) return QString();
        return Q(r.RowVal.AsString(sep));
    case ColDef:
        if (r.RowTyp == grtProperty) return QString();
        if (r.IsList) return Q(r.ListText(r.RowDef.AsString()));
        if (IsSwitch(r)) return QString();
        return Q(r.RowDef.AsString(sep));
    case ColMin:
        return r.RowTyp == grtProperty ? QString() : Q(r.RowMin.AsString(sep));
    default:
        return r.RowTyp == grtProperty ? QString() : Q(r.RowMax.AsString(sep));
    }
}

QVariant TFerroGridModel::data(const QModelIndex& Index, int Role) const {
    if (!Index.isValid() || Index.row() >= int(FRowLst.size())) return {};
    const TGridRow& r = FRowLst[size_t(Index.row())];
    const int col = Index.column();
    switch (Role) {
    case Qt::DisplayRole: {
        if (col == ColVal) const_cast<TFerroGridModel*>(this)->FValDrawNum++;
        // Every number with its unit; a choice's text and a text need none.
        const QString text = GetValue(col, Index.row());
        const QString unit = col != ColCap && !text.isEmpty() ? Unit(r) : QString();
        return unit.isEmpty() || r.IsList || r.RowTyp == grtText ? text : text + " " + unit;
    }
    case Qt::EditRole:
        return col == ColVal ? Q(r.RowVal.AsString(FDecimalSep)) : GetValue(col, Index.row());
    case Qt::BackgroundRole:
        // A changed value red, a locked one grey, a property blue; defaults and limits veiled.
        if (col == ColVal) {
            if (r.RowTyp == grtProperty) return QBrush(QColor(0xFF0000FFu));
            if (!r.Equal) return QBrush(QColor(0xFFFF0000u));
            if (!r.Editable) return QBrush(QColor(0xFF808080u));
        } else if (col == ColDef) {
            return QBrush(QColor(128, 128, 128, 64));
        } else if (col == ColMin || col == ColMax) {
            return QBrush(QColor(255, 0, 0, 51));
        }
        return {};
    case Qt::ForegroundRole:
        if (col == ColVal && (r.RowTyp == grtProperty || !r.Equal || !r.Editable)) return QBrush(Qt::white);
        return {};
    case Qt::ToolTipRole:
        if (col == ColVal && !r.Editable) return QStringLiteral("Auf dieser Stufe nicht änderbar");
        if (col == ColVal && !r.Equal) return QStringLiteral("Geändert, noch nicht an das Gerät gesendet");
        return {};
    default:
        return {};
    }
}

QString TFerroGridModel::Unit(const TGridRow& Row) const {
    return FLang && Row.RowTyp != grtProperty ? Q(FLang->IdToShort(Row.ID)) : QString();
}

QVariant TFerroGridModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Role != Qt::DisplayRole) return {};
    if (Orientation == Qt::Vertical) return Section + 1;
    static const char* const texts[] = {"Parametername", "Wert", "Werkseinstellung", "Minimum", "Maximum"};
    return Section >= 0 && Section < ColCount ? QString::fromUtf8(texts[Section]) : QVariant();
}

Qt::ItemFlags TFerroGridModel::flags(const QModelIndex& Index) const {
    if (!Index.isValid() || Index.row() >= int(FRowLst.size())) return Qt::NoItemFlags;
    const TGridRow& r = FRowLst[size_t(Index.row())];
    Qt::ItemFlags f = Qt::ItemIsEnabled;
    if (Index.column() == ColVal) {
        // Only a typed value is entered; choices and switches are clicked.
        if (!r.IsList && !IsSwitch(r) && r.Editable && r.RowTyp != grtProperty)
            f |= Qt::ItemIsSelectable | Qt::ItemIsEditable;
    } else if (FVisibility >= 2) {
        f |= Qt::ItemIsSelectable;
    }
    return f;
}

bool TFerroGridModel::setData(const QModelIndex& Index, const QVariant& Value, int Role) {
    if (Role != Qt::EditRole || !Index.isValid()) return false;
    return SetValue(Index.column(), Index.row(), Value.toString());
}

bool TFerroGridModel::SetValue(int Col, int Row, const QString& Value) {
    if (Col != ColVal || Row < 0 || Row >= int(FRowLst.size())) {
        QApplication::beep();
        return false;
    }
    TGridRow& r = FRowLst[size_t(Row)];
    bool corrected = false;
    std::string out;
    r.CheckValue(Value.toStdString(), FCheckErrorCallBack, corrected, out, FDecimalSep);
    if (r.RowTyp == grtProperty) return false;
    if (r.ID == CICDNameId && FICDCallBack) FICDCallBack(out);
    if (FOnGridRowChange) FOnGridRowChange(this, r.Node, out, r.Equal, r.RowTyp);
    emit dataChanged(index(Row, ColVal), index(Row, ColVal));
    return true;
}

} // namespace ferro
