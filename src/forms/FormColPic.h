#pragma once
// A colour picker over the curve colours: one swatch per colour of the current palette.

#include "foundation/Sammler.h"

#include <QDialog>

#include <functional>
#include <vector>

class QToolButton;

namespace ferro {

class TFormColPic : public QDialog {
    Q_OBJECT
public:
    // `Colors` empty means the default curve colours.
    explicit TFormColPic(std::vector<TAlphaColor> Colors = {}, QWidget* Parent = nullptr);

    // Picks the colour at `Index` and closes; an index outside the palette is ignored.
    void SelectIndex(int Index);
    TAlphaColor SelectedColor() const { return FSelected; }
    int SelectedIndex() const { return FSelectedIndex; }
    const std::vector<TAlphaColor>& Colors() const { return FColors; }

    std::function<void(TAlphaColor)> FOnColorSelected;

private:
    std::vector<TAlphaColor> FColors;
    std::vector<QToolButton*> FSwatches;
    TAlphaColor FSelected = 0;
    int FSelectedIndex = -1;
};

} // namespace ferro
