#pragma once
// The complete value table without a widget: the tree of data classes and sub-records with their
// leaves, the grid's rows for a leaf (field name, offset from the object's start, type kind), its
// columns, and each cell read on demand from the byte image of the newest object.

#include "foundation/records/FerroTypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

struct TGridRec {
    std::string Symb;
    uint32_t Offs = 0; // from the start of the object
    int TypKind = 4;   // 1 integer, 4 float, 14 record
    uint32_t Count = 1;
};

// One node of the tree: a group (no tag) or a leaf.
struct TCompleteNode {
    std::string Caption;
    bool Leaf = false;
    TFerroTag Tag;
    std::vector<TCompleteNode> Children;
};

struct TCompleteCol {
    std::string Caption;
    int Width = 120;
};

class TCompleteTable {
public:
    // "Value (Live-Daten)" with a group per data class, built for a firmware generation.
    static TCompleteNode FillTreeView(uint8_t Gen);

    // Chooses a leaf: rows and columns follow it.
    void Select(const TFerroTag& Tag, uint8_t Gen);
    const TFerroTag& FFerrotag() const { return FTag; }
    const std::vector<TGridRec>& FGridLst() const { return FRows; }
    const std::vector<TCompleteCol>& Cols() const { return FCols; }
    // Rows the grid shows for the object in hand (the samples of an oscilloscope block).
    int RowCount(const std::vector<uint8_t>& Bytes) const;
    // One cell; false (and an empty text) where the object does not reach it.
    bool GetValueFromBytes(const std::vector<uint8_t>& Bytes, int Row, int Col, std::string& Out) const;

private:
    void FillStringList();
    void CreateCols();
    bool ReadCell(const std::vector<uint8_t>& Bytes, int Row, int Col, std::string& Out) const;

    TFerroTag FTag;
    uint8_t FGen = 2;
    uint32_t FTailCountOffs = 0; // oscilloscope: where the sample count stands
    uint32_t FTailStride = 0;
    uint32_t FTailStart = 0;
    std::vector<TGridRec> FRows;
    std::vector<TCompleteCol> FCols;
};

} // namespace ferro
