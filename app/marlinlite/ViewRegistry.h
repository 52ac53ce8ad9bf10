#pragma once
// The host's table of views: one row per kind of view, with what the button shows and how the view
// is made. A new view is one subclass of the basic device form and one row here.

#include "forms/FormBasic.h"
#include "forms/Icons.h"

#include <QString>

#include <functional>
#include <map>

namespace ferro {

struct TViewRow {
    TDirectKind Kind = dkpara;
    QString Title;
    TIconKind Icon = TIconKind::Connect;
    std::function<TFormBasic*(QWidget* Parent)> Create;
    // A view of local files (the offline archive) opens without an instrument of the list.
    bool NeedsInstrument = true;
};

class TViewRegistry {
public:
    void Add(TViewRow Row) { FRows[Row.Kind] = std::move(Row); }
    const TViewRow* Find(TDirectKind Kind) const {
        auto it = FRows.find(Kind);
        return it == FRows.end() ? nullptr : &it->second;
    }
    const std::map<TDirectKind, TViewRow>& Rows() const { return FRows; }

private:
    std::map<TDirectKind, TViewRow> FRows;
};

// The views this program ships (the connection view stands apart).
TViewRegistry ShippedViews();

} // namespace ferro
