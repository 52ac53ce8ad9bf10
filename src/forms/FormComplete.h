#pragma once
// The complete value table: every raw value of any live object. The tree lists the data classes
// with their sub-records; a leaf starts its class's stream, and the grid reads each shown cell
// from the newest object's bytes (TCompleteTable), nothing is decoded in advance.

#include "forms/FormLayout.h"
#include "live/CompleteTable.h"

#include <memory>
#include <optional>

class QLabel;
class QTimer;

namespace ferro {

class TValueGridModel;

class TFormComplete : public TFormLayout {
    Q_OBJECT
public:
    explicit TFormComplete(QWidget* Parent = nullptr);
    ~TFormComplete() override;

    QStringList Pages() const override;
    void ShowPage(int Index) override;

    void ConnEst(TSender Sender, bool Success) override;
    void UpdateGrid() override;
    void PrepareShutdown() override;
    void ConnectionLost(const std::string& Reason) override;

    // The tree "Value (Live-Daten)" for the connected instrument's generation.
    void FillTreeView();
    // A group opens or closes; a leaf stops the running stream, takes the leaf's columns and
    // starts the stream of its class.
    void ClickTreeView(QTreeWidgetItem* Item);
    // The item at a caption path below the root, e.g. {"1 Sec", "Spannungsmessgroessen", "Messwerte"}.
    QTreeWidgetItem* FindItem(const QStringList& Path) const;
    // One cell of the grid; empty while no object of the chosen leaf's class is in hand.
    std::string StreamGetValue(int Col, int Row) const;

    const TCompleteTable& Table() const { return FTable; }
    // Objects of the chosen leaf's class that reached the grid.
    int FObjects = 0;

signals:
    // The grid read its cells anew from a new object.
    void GridUpdated();

private:
    void SelectLeaf(const TFerroTag& Tag, const QString& Caption);
    void CreateCols();
    // The object in hand belongs to the chosen leaf's class (after a switch the old stream's last
    // object may still be there).
    bool ObjectFitsLeaf() const;
    // The last start has not been answered with a handle yet.
    bool StartInFlight() const;
    void ApplyPendingLeaf();
    void ShowStreamInfo();

    TCompleteTable FTable;
    bool FLeafChosen = false;
    uint8_t FGen = 2;
    QString FLeafCaption;
    // A leaf clicked while the stream before it was still starting; it follows once that one stands.
    std::optional<std::pair<TFerroTag, QString>> FPending;
    std::unique_ptr<TValueGridModel> FStreamModel;
    QLabel* lblStream = nullptr;
    QTimer* FPendingTimer = nullptr;
};

} // namespace ferro
