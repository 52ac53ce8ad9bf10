#pragma once
// The rows of one tree item for the parameter grid: five columns, texts on demand, the change
// colours, and SetValue as the grid's only write path (through TGridRow::CheckValue).

#include "para/GridRow.h"

#include <QAbstractTableModel>

#include <functional>
#include <vector>

namespace ferro {

class TXMLLangu;

// Told of an accepted value: the node, the text for the document, whether it equals the
// instrument's value, and the row's type.
using TGridRowChange = std::function<void(QObject* Sen, pugi::xml_node Node, const std::string& Val,
                                          bool Equal, TGridRowTyp grType)>;

class TFerroGridModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum { ColCap, ColVal, ColDef, ColMin, ColMax, ColCount };
    static constexpr uint32_t CICDNameId = 4278190467u; // FF000183, the IED name

    explicit TFerroGridModel(QObject* Parent = nullptr);

    void AddRowVal(const TGridRow& Row) { FRowLst.push_back(Row); }
    // Shows the rows added so far.
    void SetRowCnt();
    void ClearList();
    const std::vector<TGridRow>& Rows() const { return FRowLst; }

    // The cell text as the grid shows it; "NaN" right of the five columns, "" below the rows.
    QString GetValue(int Col, int Row) const;
    // The only write path: column 1 only; false (and a beep) for any other column.
    bool SetValue(int Col, int Row, const QString& Value);

    // For the units shown behind numbers (the ids' short texts); may stay null.
    const TXMLLangu* FLang = nullptr;
    int FVisibility = 1;
    char FDecimalSep = ',';
    TCheckErrorCallBack FCheckErrorCallBack;
    TGridRowChange FOnGridRowChange;
    std::function<void(const std::string&)> FICDCallBack;
    int FValDrawNum = 0; // value cells asked for display: a diagnostic counter

    int rowCount(const QModelIndex& Parent = {}) const override;
    int columnCount(const QModelIndex& Parent = {}) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    Qt::ItemFlags flags(const QModelIndex& Index) const override;
    bool setData(const QModelIndex& Index, const QVariant& Value, int Role) override;

private:
    QString Unit(const TGridRow& Row) const;
    std::vector<TGridRow> FRowLst;
    int FShown = 0;
};

} // namespace ferro
