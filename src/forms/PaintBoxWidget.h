#pragma once
// The widget that hosts one chart: it owns the paint box, hands it a QPainter canvas on every
// paint event, and forwards size, mouse and wheel events to it.

#include "charts/PQPaintBox.h"

#include <QWidget>

#include <memory>

namespace ferro {

class PaintBoxWidget : public QWidget {
    Q_OBJECT
public:
    explicit PaintBoxWidget(std::unique_ptr<TPQPaintBox> Box, QWidget* Parent = nullptr);
    ~PaintBoxWidget() override;

    TPQPaintBox& Box() { return *FBox; }
    // Base font size of the charts in device pixels.
    void SetChartFontSize(double Size) { FFontSize = Size; }
    double ChartFontSize() const { return FFontSize; }

protected:
    void paintEvent(QPaintEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;
    void mousePressEvent(QMouseEvent* Event) override;
    void mouseMoveEvent(QMouseEvent* Event) override;
    void mouseReleaseEvent(QMouseEvent* Event) override;
    void wheelEvent(QWheelEvent* Event) override;

private:
    std::unique_ptr<TPQPaintBox> FBox;
    double FFontSize = 12;
};

} // namespace ferro
