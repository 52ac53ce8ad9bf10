#pragma once
// The parameter grid: the rows of one tree item in five columns (model/view, no widget per cell),
// the level's rules for what may be entered, the choice menu of a selection list, switches toggled
// by a click, the key filter of the value editor, and the message of a corrected value.

#include "forms/FerroGridModel.h"

#include <QStringList>
#include <QTableView>

#include <functional>

class QMenu;

namespace ferro {

class TXMLLangu;

class TFerroGrid : public QTableView {
    Q_OBJECT
public:
    explicit TFerroGrid(QWidget* Parent = nullptr);

    TFerroGridModel& Model() { return *FModel; }
    void AddRowVal(const TGridRow& Row) { FModel->AddRowVal(Row); }
    void SetRowCnt();
    void ClearList() {
        // A reset of the model may lay the header out anew: that is no width the user chose.
        FSizing = true;
        FModel->ClearList();
        FSizing = false;
    }
    void SetVisibility(int Level);
    int Visibility() const { return FModel->FVisibility; }
    // Minimum and maximum show from the service level on.
    void HideColumns(int Level);
    QString GetValue(int Col, int Row) const { return FModel->GetValue(Col, Row); }
    bool SetValue(int Col, int Row, const QString& Value) { return FModel->SetValue(Col, Row, Value); }
    // Every row as caption, value, default, minimum, maximum, tab separated, CR LF ended; also to
    // the clipboard.
    QString CopyToClip() const;
    // The value of `Row` as integer text into every row below it, each through the validator.
    void FillColumn(int Row);
    void PopUpClearen();
    // Widths kept by the user (0: fitted to the texts); name and value still grow to fit a longer
    // text. The widths the user drags are kept from then on.
    void SetColumnWidths(const std::vector<int>& Widths);
    const std::vector<int>& ColumnWidths() const { return FKeptWidths; }
    // Language for the names in the message of a corrected value.
    void SetLanguage(const TXMLLangu* Lang) {
        FLang = Lang;
        FModel->FLang = Lang;
    }
    // The German message of a corrected value, on top of the grid's window; the box is returned.
    QWidget* CompareValCallBack(const std::string& ValID, const std::string& Min, const std::string& Max,
                                const std::string& Def, const std::string& OutVal);

    QMenu* FPopup = nullptr;
    int FChoiceRow = -1;
    std::vector<std::pair<std::string, std::string>> FActiveList;
    std::function<void(const std::string&)> FCopyToClip;
    std::function<void(int)> FRMBDataPointCB;

protected:
    void mousePressEvent(QMouseEvent* Event) override;
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void ChoicePopUpClick(int Index);
    void OpenChoice(int Row, const QPoint& At);

    void ColumnResized(int Col, int NewSize);
    TFerroGridModel* FModel;
    const TXMLLangu* FLang = nullptr;
    std::vector<int> FKeptWidths = std::vector<int>(TFerroGridModel::ColCount, 0);
    bool FSizing = false; // widths set by the grid itself, not dragged
};

} // namespace ferro
