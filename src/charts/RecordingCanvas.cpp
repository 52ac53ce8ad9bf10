#include "charts/RecordingCanvas.h"

#include "charts/RecordingBitmap.h"

#include <algorithm>

namespace ferro {

namespace {

// Lines split at "\n", with a "\r" in front of it ignored; widths count characters, not bytes.
void Measure(const std::string& Text, size_t& MaxChars, size_t& Lines) {
    MaxChars = 0;
    Lines = 1;
    size_t chars = 0;
    for (unsigned char c : Text) {
        if (c == '\n') {
            MaxChars = std::max(MaxChars, chars);
            chars = 0;
            ++Lines;
        } else if (c != '\r' && (c & 0xC0) != 0x80) {
            ++chars;
        }
    }
    MaxChars = std::max(MaxChars, chars);
}

} // namespace

TCanvasCall& TRecordingCanvas::Push(TCanvasOp Op, double Opacity) {
    TCanvasCall c;
    c.Op = Op;
    c.Opacity = Opacity;
    c.Fill = Fill;
    c.Stroke = Stroke;
    c.Font = Font;
    c.Matrix = FMatrix;
    Calls.push_back(std::move(c));
    return Calls.back();
}

bool TRecordingCanvas::BeginScene() {
    if (!AcceptScene) return false;
    Push(TCanvasOp::BeginScene, 1);
    return true;
}

void TRecordingCanvas::EndScene() {
    Push(TCanvasOp::EndScene, 1);
}

void TRecordingCanvas::Clear(TAlphaColor Color) {
    Push(TCanvasOp::Clear, 1).Color = Color;
}

double TRecordingCanvas::TextWidth(const std::string& Text) {
    size_t chars, lines;
    Measure(Text, chars, lines);
    return double(chars) * CCharWidth * Font.Size;
}

double TRecordingCanvas::TextHeight(const std::string& Text) {
    size_t chars, lines;
    Measure(Text, chars, lines);
    return double(lines) * CLineHeight * Font.Size;
}

void TRecordingCanvas::FillText(const TRectF& Rect, const std::string& Text, bool WordWrap, double Opacity,
                                TFillTextFlags, TTextAlign HAlign, TTextAlign VAlign) {
    auto& c = Push(TCanvasOp::FillText, Opacity);
    c.Rect = Rect;
    c.Text = Text;
    c.WordWrap = WordWrap;
    c.HAlign = HAlign;
    c.VAlign = VAlign;
}

void TRecordingCanvas::DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) {
    auto& c = Push(TCanvasOp::DrawLine, Opacity);
    c.P1 = P1;
    c.P2 = P2;
}

void TRecordingCanvas::DrawRect(const TRectF& Rect, double Opacity) {
    Push(TCanvasOp::DrawRect, Opacity).Rect = Rect;
}

void TRecordingCanvas::FillRect(const TRectF& Rect, double Opacity) {
    FillRect(Rect, Opacity, TBrush{Fill.Color});
}

void TRecordingCanvas::FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) {
    auto& c = Push(TCanvasOp::FillRect, Opacity);
    c.Rect = Rect;
    c.Color = Brush.Color;
}

void TRecordingCanvas::DrawEllipse(const TRectF& Rect, double Opacity) {
    Push(TCanvasOp::DrawEllipse, Opacity).Rect = Rect;
}

void TRecordingCanvas::DrawPath(const TPathData& Path, double Opacity) {
    Push(TCanvasOp::DrawPath, Opacity).Path = Path.Steps();
}

void TRecordingCanvas::SetMatrix(const TMatrix& M) {
    FMatrix = M;
    Push(TCanvasOp::SetMatrix, 1);
}

void TRecordingCanvas::MultiplyMatrix(const TMatrix& M) {
    SetMatrix(M * FMatrix);
}

std::unique_ptr<TCanvasBitmap> TRecordingCanvas::CreateBitmap() const {
    return std::make_unique<TRecordingBitmap>();
}

void TRecordingCanvas::DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst,
                                  double Opacity) {
    auto& c = Push(TCanvasOp::DrawBitmap, Opacity);
    c.Src = Src;
    c.Rect = Dst;
    (void)Bitmap;
}

std::vector<TCanvasCall> TRecordingCanvas::Of(TCanvasOp Op) const {
    std::vector<TCanvasCall> r;
    for (const auto& c : Calls)
        if (c.Op == Op) r.push_back(c);
    return r;
}

std::vector<std::string> TRecordingCanvas::Texts() const {
    std::vector<std::string> r;
    for (const auto& c : Calls)
        if (c.Op == TCanvasOp::FillText) r.push_back(c.Text);
    return r;
}

} // namespace ferro
