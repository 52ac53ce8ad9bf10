#pragma once
// A polyline made of move and line steps, built once per curve and handed to the canvas.

#include "charts/Geometry.h"

#include <vector>

namespace ferro {

class TPathData {
public:
    struct TStep {
        TPointF Point;
        bool Move; // true: start a new sub-path here
    };

    void Clear() { FSteps.clear(); }
    void MoveTo(const TPointF& p) { FSteps.push_back({p, true}); }
    void LineTo(const TPointF& p) { FSteps.push_back({p, false}); }
    // Keeps the storage for the next curve, so that rebuilding a path does not allocate.
    void Reserve(size_t n) { FSteps.reserve(n); }
    size_t Count() const { return FSteps.size(); }
    bool Empty() const { return FSteps.empty(); }
    const std::vector<TStep>& Steps() const { return FSteps; }

private:
    std::vector<TStep> FSteps;
};

} // namespace ferro
