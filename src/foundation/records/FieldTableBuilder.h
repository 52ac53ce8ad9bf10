#pragma once
// Fills the field table with the layouts of all records; only TFieldTable calls it.

namespace ferro {

class TFieldTable;

class TFieldTableBuilder {
public:
    static void Build(TFieldTable& table);
};

} // namespace ferro
