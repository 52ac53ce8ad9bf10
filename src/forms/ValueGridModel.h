#pragma once
// A read-only table whose cells come from a getter: the event, binary-input and marker tables ask
// their form for each visible cell instead of copying every row into the view.

#include <QAbstractTableModel>
#include <QStringList>

#include <functional>
#include <string>

namespace ferro {

class TValueGridModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using TGetter = std::function<std::string(int Col, int Row)>;

    void Reset(QStringList Headers, int Rows, TGetter Getter);
    void SetHeader(int Col, const QString& Text);
    void SetRowCount(int Rows);
    // The cells were read anew (a live object came): rows are added or taken at the end, so that the
    // view keeps its scroll position and selection, and the shown cells ask their getter again.
    void Refresh(int Rows);
    int rowCount(const QModelIndex& Parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& Parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;

private:
    QStringList FHeaders;
    int FRows = 0;
    TGetter FGetter;
};

} // namespace ferro
