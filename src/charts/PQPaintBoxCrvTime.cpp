#include "charts/PQPaintBoxCrvTime.h"

#include "charts/DateText.h"
#include "foundation/Format.h"
#include "foundation/records/PQTimeProgs.h"

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <future>
#include <limits>
#include <system_error>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ferro {

namespace {

constexpr TAlphaColor CTriggerCol = 0xFFFF00FF;
constexpr TAlphaColor CMarkerCol = 0xFF008080;
constexpr TAlphaColor CZoomCol = 0xFF0000FF;
// A drag must go further than this to zoom or to reset the zoom.
constexpr double CMinDrag = 20;
// Records that the drawing rule takes or passes as a whole when it can tell at once, and that are
// mapped to the screen together when it cannot.
constexpr size_t CScanBlock = 16;
// One thread's scratch: four words per record of a block (see TScanChunk).
constexpr size_t CScanScratch = 4 * CScanBlock;
// From this many records in the window, a second thread shares the scan of the columns.
constexpr uint64_t CSplitRecords = 200000;
// Pieces of the columns that two threads take in turn.
constexpr size_t CScanPieces = 16;
// A block of values spread over more pixels than this draws too many points to look for them one
// at a time.
constexpr double CBusySpan = 12.0;

// A zoom window needs this many records.
constexpr int CMinZoomRecs = 5;

// The drawn points of one pixel column. Many of them collapse into the column's span: drawn
// without antialiasing, first -> one end -> other end -> last covers the same pixels as the zigzag.
struct TColumnRun {
    double X = 0;
    double Ys[5] = {}; // the first three drawn; slot 3 takes the writes beyond them, 4 the rest
    double Lo = 0, Hi = 0, Last = 0;
    int Cnt = 0;

    void Flush(TPathData& Path) const {
        auto put = [&Path, this](double y) {
            const TPointF p(X, y);
            if (Path.Empty())
                Path.MoveTo(p);
            else if (Path.Steps().back().Point != p)
                Path.LineTo(p);
        };
        if (Cnt <= 3) {
            for (int i = 0; i < Cnt; ++i)
                put(Ys[i]);
            return;
        }
        const bool loFirst = std::fabs(Ys[0] - Lo) <= std::fabs(Ys[0] - Hi);
        put(Ys[0]);
        put(loFirst ? Lo : Hi);
        put(loFirst ? Hi : Lo);
        put(Last);
    }
};

// A non-negative double's bits order as the numbers do: the drawing rule's tests become integer ones.
inline uint64_t Bits(double d) {
    uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}
// The drawing rule's step: a point outside the window [Lo, Lo + W] is drawn, and the window moves
// to it (Lo = PL, W = PW) and Last to P; returns 1 then, else 0. The whole chain from one record to
// the next runs through here, so it is a compare and three conditional moves: with jumps, a dense
// signal (drawn or not, at random) costs a misprediction every few records.
inline int TakeIfOutside(uint64_t P, uint64_t PL, uint64_t PW, uint64_t& Lo, uint64_t& W, uint64_t& Last) {
#if defined(__x86_64__)
    const uint64_t d = P - Lo;
    uint8_t t;
    asm("cmp %[w], %[d]\n\t"
        "cmova %[pl], %[lo]\n\t"
        "cmova %[pw], %[w]\n\t"
        "cmova %[p], %[last]\n\t"
        "seta %[t]"
        : [lo] "+r"(Lo), [w] "+r"(W), [last] "+r"(Last), [t] "=q"(t)
        : [d] "r"(d), [pl] "r"(PL), [pw] "r"(PW), [p] "r"(P)
        : "cc");
    return t;
#else
    const uint64_t m = uint64_t(0) - uint64_t(P - Lo > W);
    Lo ^= (Lo ^ PL) & m;
    W ^= (W ^ PW) & m;
    Last ^= (Last ^ P) & m;
    return int(m & 1);
#endif
}

inline double FromBits(uint64_t u) {
    double d;
    std::memcpy(&d, &u, sizeof d);
    return d;
}

// The window of +-2 pixels around a position, as its low end and width in bits (clamped at 0, where
// the bits stop ordering as the numbers).
inline void WindowAround(double Y, uint64_t& Lo, uint64_t& W) {
    Lo = Bits(std::max(Y - 2.0, 0.0));
    W = Bits(Y + 2.0) - Lo;
}

// One chunk of mapped records for the drawing rule, as bits (see Bits): the position, the low end
// of the window of +-2 pixels around it and the window's width.
struct TScanChunk {
    uint64_t *P, *PL, *PW, *T; // T: all ones where the point was drawn
};

// The vertical mapping of n values, clamped to the range, two at a time where SSE2 is there, with
// the same double arithmetic, and each one's window. What is not finite is left out, as the drawing
// rule skips it; returns how many were written.
size_t MapChunk(const float* V, size_t N, double Lo, double Hi, double Bot, double K, const TScanChunk& Out) {
    size_t i = 0;
    bool gap = false;
#if defined(__SSE2__)
    const __m128d lo = _mm_set1_pd(Lo), hi = _mm_set1_pd(Hi), bot = _mm_set1_pd(Bot), k = _mm_set1_pd(K),
                  two = _mm_set1_pd(2.0), zero = _mm_setzero_pd();
    int finiteBits = 3;
    for (; i + 2 <= N; i += 2) {
        double pair; // two floats
        std::memcpy(&pair, V + i, sizeof pair);
        const __m128d d = _mm_cvtps_pd(_mm_castpd_ps(_mm_set_sd(pair)));
        const __m128d y = _mm_sub_pd(bot, _mm_mul_pd(_mm_sub_pd(_mm_min_pd(_mm_max_pd(d, lo), hi), lo), k));
        const __m128d below = _mm_max_pd(_mm_sub_pd(y, two), zero);
        const __m128d above = _mm_add_pd(y, two);
        // x - x is 0 only for a finite x.
        finiteBits &= _mm_movemask_pd(_mm_cmpeq_pd(_mm_sub_pd(d, d), zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(Out.P + i), _mm_castpd_si128(y));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(Out.PL + i), _mm_castpd_si128(below));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(Out.PW + i),
                         _mm_sub_epi64(_mm_castpd_si128(above), _mm_castpd_si128(below)));
    }
    gap = finiteBits != 3;
#endif
    for (; i < N; ++i) {
        const float x = V[i];
        const double y = Bot - (std::min(std::max(double(x), Lo), Hi) - Lo) * K;
        Out.P[i] = Bits(y);
        WindowAround(y, Out.PL[i], Out.PW[i]);
        gap |= x - x != 0.f;
    }
    if (!gap) return N;
    size_t n = 0; // rare: close the gaps
    for (i = 0; i < N; ++i)
        if (V[i] - V[i] == 0.f) {
            Out.P[n] = Out.P[i];
            Out.PL[n] = Out.PL[i];
            Out.PW[n++] = Out.PW[i];
        }
    return n;
}

#if defined(__SSE2__)
// Widens [Least, Most] (bits) by the two lanes of Lo and Hi.
inline void Widen(__m128d Lo, __m128d Hi, uint64_t& Least, uint64_t& Most) {
    double l[2], h[2];
    _mm_storeu_pd(l, Lo);
    _mm_storeu_pd(h, Hi);
    Least = std::min({Least, Bits(l[0]), Bits(l[1])});
    Most = std::max({Most, Bits(h[0]), Bits(h[1])});
}
#endif

// Widens [Least, Most] (bits) to the drawn points among [From, To) of a chunk: apart from the chain,
// two at a time where SSE2 is there. Positions are not negative, so 0 is neutral for the maximum.
void SpanOfTaken(const TScanChunk& C, size_t From, size_t To, uint64_t& Least, uint64_t& Most) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128d inf = _mm_set1_pd(std::numeric_limits<double>::infinity());
    __m128d lo = inf, hi = _mm_setzero_pd();
    for (; i + 2 <= To; i += 2) {
        const __m128d y = _mm_loadu_pd(reinterpret_cast<const double*>(C.P + i));
        const __m128d drawn = _mm_castsi128_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(C.T + i)));
        lo = _mm_min_pd(lo, _mm_or_pd(_mm_and_pd(drawn, y), _mm_andnot_pd(drawn, inf)));
        hi = _mm_max_pd(hi, _mm_and_pd(drawn, y));
    }
    Widen(lo, hi, Least, Most);
#endif
    for (; i < To; ++i) {
        Least = std::min(Least, C.P[i] | ~C.T[i]);
        Most = std::max(Most, C.P[i] & C.T[i]);
    }
}

// The first point of [From, To) outside the window [Lo, Lo + W] (bits), the next one the rule
// draws; To when there is none. Two at a time where SSE2 is there.
inline size_t FirstOutside(const TScanChunk& C, size_t From, size_t To, uint64_t Lo, uint64_t W) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128d lo = _mm_set1_pd(FromBits(Lo)), hi = _mm_set1_pd(FromBits(Lo + W));
    for (; i + 2 <= To; i += 2) {
        const __m128d y = _mm_loadu_pd(reinterpret_cast<const double*>(C.P + i));
        if (const int m = _mm_movemask_pd(_mm_or_pd(_mm_cmplt_pd(y, lo), _mm_cmpgt_pd(y, hi))))
            return i + ((m & 1) ? 0 : 1);
    }
#endif
    for (; i < To; ++i)
        if (C.P[i] - Lo > W) return i;
    return To;
}

// Where the drawing rule stands between two columns: the last drawn point.
struct TScanState {
    double LastX = 0, LastY = 0;
    bool Any = false;
    bool operator==(const TScanState& o) const {
        return Any == o.Any && LastX == o.LastX && Bits(LastY) == Bits(o.LastY);
    }
};

// A block of CScanBlock raw values, read before any of them is mapped: their range, whether all
// are finite, and the smallest step from one to the next.
struct TBlockSummary {
    float Min, Max, Step;
    bool Finite;
};

inline TBlockSummary Summarise(const float* V) {
    static_assert(CScanBlock == 16, "four vectors of four");
#if defined(__SSE2__)
    const __m128 a0 = _mm_loadu_ps(V), a1 = _mm_loadu_ps(V + 4), a2 = _mm_loadu_ps(V + 8),
                 a3 = _mm_loadu_ps(V + 12);
    // x - x is 0 only for a finite x.
    const __m128 zero = _mm_setzero_ps();
    const int finite = _mm_movemask_ps(_mm_and_ps(
        _mm_and_ps(_mm_cmpeq_ps(_mm_sub_ps(a0, a0), zero), _mm_cmpeq_ps(_mm_sub_ps(a1, a1), zero)),
        _mm_and_ps(_mm_cmpeq_ps(_mm_sub_ps(a2, a2), zero), _mm_cmpeq_ps(_mm_sub_ps(a3, a3), zero))));
    __m128 mn = _mm_min_ps(_mm_min_ps(a0, a1), _mm_min_ps(a2, a3));
    __m128 mx = _mm_max_ps(_mm_max_ps(a0, a1), _mm_max_ps(a2, a3));
    // The 15 steps: the last vector overlaps the third by one.
    const __m128 abs = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    auto step = [&](const float* P) {
        return _mm_and_ps(abs, _mm_sub_ps(_mm_loadu_ps(P + 1), _mm_loadu_ps(P)));
    };
    __m128 st = _mm_min_ps(_mm_min_ps(step(V), step(V + 4)), _mm_min_ps(step(V + 8), step(V + 11)));
    auto fold = [](__m128 x, auto op) {
        x = op(x, _mm_shuffle_ps(x, x, _MM_SHUFFLE(1, 0, 3, 2)));
        return _mm_cvtss_f32(op(x, _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 3, 0, 1))));
    };
    auto vmin = [](__m128 a, __m128 b) { return _mm_min_ps(a, b); };
    auto vmax = [](__m128 a, __m128 b) { return _mm_max_ps(a, b); };
    return {fold(mn, vmin), fold(mx, vmax), fold(st, vmin), finite == 15};
#else
    TBlockSummary b{V[0], V[0], std::numeric_limits<float>::infinity(), true};
    for (size_t i = 0; i < CScanBlock; ++i) {
        b.Finite = b.Finite && V[i] - V[i] == 0.f;
        b.Min = std::min(b.Min, V[i]);
        b.Max = std::max(b.Max, V[i]);
        if (i) b.Step = std::min(b.Step, std::fabs(V[i] - V[i - 1]));
    }
    return b;
#endif
}

// A curve's vertical mapping: values clamped to [Lo, Hi], Bot - (v - Lo) * K.
struct TYMap {
    double Lo, Hi, Bot, K;
    // The position of one value, with the arithmetic of MapChunk.
    double Y(float V) const { return Bot - (std::min(std::max(double(V), Lo), Hi) - Lo) * K; }
    // The smallest step of raw values that surely moves a position by more than 2 pixels, with room
    // for the rounding of a float step and of the double positions; infinite on a flat scale.
    float DenseStep() const {
        if (!(K > 0)) return std::numeric_limits<float>::infinity();
        const float t = float((2.0 + 1e-6) / K * (1.0 + 1e-6));
        return std::nextafter(t, std::numeric_limits<float>::infinity());
    }
};

// The drawing rule over N columns from state S: within a column, the x test holds once a point of
// it or of the column before was drawn, so only y decides. The window of +-2 pixels around the
// last drawn point is kept as its low end and width in bits, so that the test and the update are a
// few integer steps. Runs[i] gets column i's drawn points, Ends[i] the state after it; Scratch
// holds four blocks.
//
// Most blocks of values are decided before any of them is mapped, from their range and smallest
// step alone: the mapping is monotonic, so a block whose highest and lowest positions lie in the
// window is passed whole (a quiet signal), and one that stays in the scale, whose first point
// leaves the window and whose every step moves more than 2 pixels is drawn whole (a dense one),
// its span the positions of its extremes (after the column's first three drawn points, which are
// kept one by one); the dense blocks after it join it and the run is mapped once at its end. Only
// the others are mapped and run point by point.
template <class TCol>
void ScanColumns(const TMessLst& Lst, int Crv, const TCol* Cols, size_t N, TScanState S, const TYMap& M,
                 uint64_t* Scratch, TColumnRun* Runs, TScanState* Ends) {
    constexpr uint64_t CNoWindow = 0x7FF0000000000000ull; // +inf: every finite point leaves it
    const TScanChunk c{Scratch, Scratch + CScanBlock, Scratch + 2 * CScanBlock, Scratch + 3 * CScanBlock};
    const float denseStep = M.DenseStep();
    // A block every point of which is drawn once its first one is: finite, inside the scale and
    // every step surely more than 2 pixels.
    auto dense = [&](const TBlockSummary& B) {
        return B.Finite && B.Step >= denseStep && double(B.Min) >= M.Lo && double(B.Max) <= M.Hi;
    };
    for (size_t ci = 0; ci < N; ++ci) {
        TColumnRun& run = Runs[ci];
        run = TColumnRun();
        run.X = Cols[ci].X + 0.5;
        uint64_t lo = CNoWindow, w = 0;
        if (S.Any && std::fabs(run.X - S.LastX) <= 1.0) WindowAround(S.LastY, lo, w);
        uint64_t last = Bits(S.LastY), least = ~uint64_t(0), most = 0;
        Lst.ForRuns(Cols[ci].First, Cols[ci].Last, Crv,
                    [&](const uint64_t*, const float*, const float* v, size_t n) {
                        for (size_t at = 0; at < n;) {
                            bool busy = false;
                            if (n - at >= CScanBlock) {
                                const TBlockSummary b = Summarise(v + at);
                                if (b.Finite) {
                                    const uint64_t top = Bits(M.Y(b.Max)), bottom = Bits(M.Y(b.Min));
                                    busy = FromBits(bottom) - FromBits(top) > CBusySpan;
                                    if (top - lo <= w && bottom - lo <= w) {
                                        at += CScanBlock;
                                        continue;
                                    }
                                    if (run.Cnt >= 3 && dense(b) && Bits(M.Y(v[at])) - lo > w) {
                                        // The blocks after it that are just as dense, with a step into
                                        // them as large, are drawn whole too: their extremes and last
                                        // point are mapped once for the whole run.
                                        float mn = b.Min, mx = b.Max;
                                        for (at += CScanBlock; n - at >= CScanBlock; at += CScanBlock) {
                                            const TBlockSummary d = Summarise(v + at);
                                            if (!dense(d) || !(std::fabs(v[at] - v[at - 1]) >= denseStep))
                                                break;
                                            mn = std::min(mn, d.Min);
                                            mx = std::max(mx, d.Max);
                                            run.Cnt += int(CScanBlock);
                                        }
                                        run.Cnt += int(CScanBlock);
                                        least = std::min(least, Bits(M.Y(mx)));
                                        most = std::max(most, Bits(M.Y(mn)));
                                        const double y = M.Y(v[at - 1]);
                                        last = Bits(y);
                                        WindowAround(y, lo, w);
                                        continue;
                                    }
                                }
                            }
                            const size_t m0 = std::min(n - at, CScanBlock);
                            const size_t m = MapChunk(v + at, m0, M.Lo, M.Hi, M.Bot, M.K, c);
                            at += m0;
                            // The first three drawn points of a column are kept one by one; after them only
                            // the span and the last one count.
                            size_t i = 0;
                            for (; i < m && run.Cnt < 3; ++i) {
                                const int t = TakeIfOutside(c.P[i], c.PL[i], c.PW[i], lo, w, last);
                                c.T[i] = uint64_t(0) - uint64_t(t); // all ones when drawn
                                run.Ys[t ? run.Cnt : 4] = FromBits(c.P[i]);
                                run.Cnt += t;
                            }
                            SpanOfTaken(c, 0, i, least, most);
                            // A slow signal draws a point now and then: each is found by comparing the rest
                            // of the block with the window. Past a few, or when the block spans many windows,
                            // it goes point by point: a search that stops early costs a mispredicted jump for
                            // each point it finds.
                            size_t j = busy ? i : FirstOutside(c, i, m, lo, w);
                            for (int found = 0; j < m && found < 4 && !busy; ++found) {
                                ++run.Cnt;
                                least = std::min(least, c.P[j]);
                                most = std::max(most, c.P[j]);
                                lo = c.PL[j];
                                w = c.PW[j];
                                last = c.P[j];
                                j = FirstOutside(c, j + 1, m, lo, w);
                            }
                            if (j < m) {
                                for (size_t q = j; q < m; ++q) {
                                    const int t = TakeIfOutside(c.P[q], c.PL[q], c.PW[q], lo, w, last);
                                    c.T[q] = uint64_t(0) - uint64_t(t);
                                    run.Cnt += t;
                                }
                                SpanOfTaken(c, j, m, least, most);
                            }
                        }
                    });
        S.LastY = run.Last = FromBits(last);
        run.Lo = FromBits(least);
        run.Hi = FromBits(most);
        if (run.Cnt) {
            S.Any = true;
            S.LastX = run.X;
        }
        Ends[ci] = S;
    }
}

} // namespace

TPQPaintBoxCrvTime::TPQPaintBoxCrvTime() {
    FFerroDisp = chartdefs::sdOsziTime;
}

std::string TPQPaintBoxCrvTime::GetCaption() const {
    return MilliSecToDuration(TM.MilliSecsBetween(FZoomTS2, FZoomTS1));
}

void TPQPaintBoxCrvTime::NewValues(const TSingleArray& Values, uint64_t Ts) {
    FForceRepaint = true;
    TPQPaintBoxCrvFFT::NewValues(Values, Ts);
}

void TPQPaintBoxCrvTime::AutoScale(int Crv) {
    if (FMessLst.Count() == 0 || Crv < 0 || Crv >= GetCrvCnt()) return;
    float mx = -FLT_MAX, mn = FLT_MAX;
    FMessLst.ForRuns(0, FMessLst.Count() - 1, Crv,
                     [&](const uint64_t*, const float*, const float* v, size_t n) {
                         for (size_t i = 0; i < n; ++i) {
                             if (!std::isfinite(v[i])) continue;
                             mx = std::max(mx, v[i]);
                             mn = std::min(mn, v[i]);
                         }
                     });
    ScaleToRange(Crv, mn, mx);
}

void TPQPaintBoxCrvTime::ScaleToRange(int Crv, float Min, float Max) {
    if (Crv < 0 || Crv >= GetCrvCnt() || Max < Min) return; // no finite value: the old range stays
    double hi = Max, lo = Min;
    if (FRoundAftScl) {
        const double span = hi - lo;
        hi = RoundMaxValue(span, hi);
        lo = RoundMinValue(span, lo);
    }
    FYRecLst[size_t(Crv)].FSclMin = lo;
    FYRecLst[size_t(Crv)].FSclMax = hi;
    FForceRepaint = true;
}

void TPQPaintBoxCrvTime::ResetZoom() {
    if (FMessLst.Count() == 0) return;
    FZoomIdx1 = 0;
    FZoomIdx2 = FMessLst.Count() - 1;
    FZoomTS1 = FMessLst.Tsl(FZoomIdx1);
    FZoomTS2 = FMessLst.Tsl(FZoomIdx2);
    FForceRepaint = true;
}

void TPQPaintBoxCrvTime::SetTrigger(const tmStamp_t& Stamp) {
    FTrigger = TM.TStoLinear(Stamp);
    FForceRepaint = true;
}

bool TPQPaintBoxCrvTime::WindowValid() const {
    return FZoomIdx1 >= 0 && FZoomIdx1 < FZoomIdx2 && FZoomIdx2 < FMessLst.Count();
}

void TPQPaintBoxCrvTime::SetSclRegion(double Min, double Max) {
    if (FStack == stkNone || FRgnIdx < 0 || FRgnIdx >= int(FPropLst.size())) return;
    for (int c = 0; c < GetCrvCnt() && c < int(FPropLst[size_t(FRgnIdx)].CrvSet.size()); ++c)
        if (FPropLst[size_t(FRgnIdx)].CrvSet.test(size_t(c))) SetScl(c, Min, Max);
    FForceRepaint = true;
    Repaint();
}

bool TPQPaintBoxCrvTime::GetSclRegion(TRectF& Rect) {
    FRgnIdx = -1;
    for (size_t i = 0; i < FPropLst.size(); ++i) {
        if (FPropLst[i].RR.Contains(FMouseDown)) {
            FRgnIdx = int(i);
            Rect = FPropLst[i].RR;
            return true;
        }
    }
    return false;
}

bool TPQPaintBoxCrvTime::GetSclRegionZero(TRectF& Rect) const {
    if (FPropLst.empty()) return false;
    Rect = FPropLst[0].RR;
    return true;
}

// ---- Mouse ----

void TPQPaintBoxCrvTime::MouseDown(TMouseButton Button, TShiftState, double X, double Y) {
    if (!FMouseNotify) return;
    FMouseStart = FMouseDown = FMouseCurrent = TPointF(X, Y);
    if (Button == mbLeft) {
        FLeftMouse = true;
        FZoomRect = TRectF(X, Y, X + 5, Y + 5);
        FZoomVisible = true;
    } else if (Button == mbRight) {
        FRightMouse = true;
        FMouseNotify(this, FMouseStart, TPointF(0, 0), Button, 0);
    }
}

void TPQPaintBoxCrvTime::MouseMove(TShiftState Shift, double X, double Y) {
    if (FRightMouse || !FLeftMouse || !FMouseNotify || !(Shift & ssLeft)) return;
    FMouseCurrent = TPointF(X, Y);
    if (X < FMouseStart.X) {
        FZoomRect.Left = X;
        FZoomRect.Right = FMouseStart.X;
    } else {
        FZoomRect.Left = FMouseStart.X;
        FZoomRect.Right = X;
    }
    if (Y < FMouseStart.Y) {
        FZoomRect.Top = Y;
        FZoomRect.Bottom = FMouseStart.Y;
    } else {
        FZoomRect.Top = FMouseStart.Y;
        FZoomRect.Bottom = Y;
    }
    // Only the frame moved: the next paint copies the bitmap.
    Repaint();
}

int TPQPaintBoxCrvTime::FindForward(double X) const {
    if (!WindowValid()) return -1;
    const auto it = std::upper_bound(FColumns.begin(), FColumns.end(), X,
                                     [](double x, const TColumn& c) { return x < double(c.X); });
    return it == FColumns.end() ? -1 : it->First;
}

int TPQPaintBoxCrvTime::FindBackward(double X) const {
    if (!WindowValid()) return -1;
    const auto it = std::upper_bound(FColumns.begin(), FColumns.end(), X,
                                     [](double x, const TColumn& c) { return x < double(c.X); });
    return it == FColumns.begin() ? -1 : std::prev(it)->Last;
}

float TPQPaintBoxCrvTime::RecordX(int Idx) const {
    const auto it = std::upper_bound(FColumns.begin(), FColumns.end(), Idx,
                                     [](int i, const TColumn& c) { return i < c.First; });
    if (it == FColumns.begin() || Idx > std::prev(it)->Last) return std::numeric_limits<float>::quiet_NaN();
    return std::prev(it)->X;
}

void TPQPaintBoxCrvTime::SetMarker(int Mark, int Idx) {
    const uint64_t ts = Idx >= 0 ? FMessLst.Tsl(Idx) : 0;
    (Mark == 0 ? FMarkIdx1 : FMarkIdx2) = Idx;
    (Mark == 0 ? FMarkTS1 : FMarkTS2) = ts;
    if (!FOnMarkerNotify) return;
    FMarkLst.clear();
    TSingleArray vals;
    for (int c = 0; c < GetCrvCnt(); ++c) {
        FMarkLst.push_back(
            Fmt("%s [%s]", FYRecLst[size_t(c)].FSym.c_str(), FYRecLst[size_t(c)].FUnt.c_str()));
        if (Idx >= 0) vals.push_back(FMessLst.Val(Idx, c));
    }
    FOnMarkerNotify(this, Mark, ts, FMarkLst, vals);
}

void TPQPaintBoxCrvTime::MouseUp(TMouseButton Button, TShiftState Shift, double X, double Y) {
    FMouseCurrent = TPointF(X, Y);
    bool done = false;
    if (Shift & ssShift) {
        SetMarker(0, FindForward(X));
        done = true;
    } else if (Shift & ssCtrl) {
        SetMarker(1, FindBackward(X));
        done = true;
    } else if (Button == mbLeft && FLeftMouse && FMessLst.Count() >= 3 && FZoomRect.Width() >= CMinDrag &&
               FMouseStart != TPointF(0, 0)) {
        if (X - FMouseStart.X > CMinDrag) {
            const int i1 = FindForward(FZoomRect.Left);
            const int i2 = FindBackward(FZoomRect.Right);
            // Too few records for a window: the old one stays.
            if (i1 >= 0 && i2 >= 0 && i2 - i1 + 1 >= CMinZoomRecs) {
                FZoomIdx1 = i1;
                FZoomIdx2 = i2;
                FZoomTS1 = FMessLst.Tsl(i1);
                FZoomTS2 = FMessLst.Tsl(i2);
            }
            done = true;
        } else if (FMouseStart.X - X > CMinDrag) {
            ResetZoom();
            done = true;
        }
    }
    if (!done && FMouseNotify && FStack != stkNone)
        FMouseNotify(this, FMouseStart, TPointF(0, 0), Button, Shift);
    FMouseStart = TPointF(0, 0);
    FZoomVisible = false;
    FForceRepaint = true;
    FLeftMouse = FRightMouse = false;
    Repaint();
}

void TPQPaintBoxCrvTime::MakeMouseUp(TMouseButton Button, TShiftState Shift) {
    MouseUp(Button, Shift, FMouseCurrent.X, FMouseCurrent.Y);
}

// ---- Paint ----

void TPQPaintBoxCrvTime::Paint(TCanvas& Canvas) {
    if (FInPaint || FMessLst.Count() <= 3) return;
    const int w = int(Width()), h = int(Height());
    if (w <= 0 || h <= 0 || !Canvas.BeginScene()) return;
    FInPaint = true;
    TCanvasBitmap& bmp = MainBitmap(Canvas);
    if (bmp.Width() != w || bmp.Height() != h || FForceRepaint) {
        bmp.SetSize(w, h);
        TCanvas& bc = bmp.Canvas();
        bc.Font = Canvas.Font;
        if (bc.BeginScene()) {
            PaintFull(bc);
            bc.EndScene();
        }
        FForceRepaint = false;
    }
    const TRectF all(0, 0, w, h);
    Canvas.DrawBitmap(bmp, all, all, 1);
    if (FZoomVisible) {
        Canvas.Stroke.Color = CZoomCol;
        Canvas.Stroke.Thickness = 1;
        Canvas.Stroke.Dash = TStrokeDash::Dash;
        Canvas.Stroke.Antialias = false;
        Canvas.DrawRect(FZoomRect, 1);
        Canvas.Stroke.Dash = TStrokeDash::Solid;
        Canvas.Stroke.Antialias = true;
    }
    Canvas.EndScene();
    FInPaint = false;
    NotifyPaint();
}

void TPQPaintBoxCrvTime::PaintFull(TCanvas& Canvas) {
    const TFontState savedFont = Canvas.Font;
    BeginPass(Canvas);
    if (FZoomIdx2 >= FMessLst.Count()) ResetZoom();
    if (WindowValid()) {
        FTmNorm.SetSclMinMax(FZoomTS1, FZoomTS2, float(FCrvRect.Left), float(FCrvRect.Width()), 0);
        // The axis's mapping in double precision, rounded to whole pixels so that a pixel column's
        // records share one x. Times rise, so each column is one range of records. Its end is looked
        // for where the column before would put it, then in steps that double, then by halving: a
        // plain binary search over millions of records misses the cache at nearly every step.
        const double k = FCrvRect.Width() / double(FZoomTS2 - FZoomTS1);
        const double left = FCrvRect.Left;
        const uint64_t t0 = FZoomTS1;
        auto column = [&](int i) { return std::nearbyint(double(int64_t(FMessLst.Tsl(i) - t0)) * k + left); };
        FColumns.clear();
        int guess = 1;
        for (int i = FZoomIdx1; i <= FZoomIdx2;) {
            const double x = column(i);
            // column(lo) <= x; every record from hi on lies right of x.
            int lo = i, hi = FZoomIdx2 + 1;
            const int p = std::min(i + guess - 1, FZoomIdx2);
            bool back = false;
            if (p > lo) {
                if (column(p) <= x)
                    lo = p;
                else
                    hi = p, back = true;
            }
            for (int g = 1; hi - lo > 1; g *= 2) {
                const int q = back ? std::max(hi - g, lo + 1) : std::min(lo + g, hi - 1);
                if (column(q) <= x) {
                    lo = q;
                    if (back) break;
                } else {
                    hi = q;
                    if (!back) break;
                }
            }
            while (hi - lo > 1) {
                const int mid = lo + (hi - lo) / 2;
                if (column(mid) <= x)
                    lo = mid;
                else
                    hi = mid;
            }
            guess = lo - i + 1;
            FColumns.push_back({i, lo, float(x)});
            i = lo + 1;
        }
        FRecordsLaidOut += uint64_t(FZoomIdx2 - FZoomIdx1 + 1);
        PaintTimeAxis(Canvas);
    }
    FPropLst.clear();
    const int regions = SubRegionNumber();
    for (int i = 0; i < regions; ++i) {
        const double rh = FCrvRect.Height() / regions;
        AddRegion(i,
                  TRectF(FCrvRect.Left, FCrvRect.Top + i * rh, FCrvRect.Right, FCrvRect.Top + (i + 1) * rh));
        PaintRegion(Canvas, i);
    }
    if (WindowValid()) {
        PaintTimeLine(Canvas, FTrigger, TM.FerroTS_to_StrMicSec(FTrigger), CTriggerCol);
        if (FMarkIdx1 >= 0) PaintTimeLine(Canvas, FMarkTS1, "M1", CMarkerCol);
        if (FMarkIdx2 >= 0) PaintTimeLine(Canvas, FMarkTS2, "M2", CMarkerCol);
    }
    TextFromLst(Canvas);
    Canvas.Font = savedFont;
}

void TPQPaintBoxCrvTime::PaintTimeAxis(TCanvas& Canvas) {
    // The window's ends first, in the foot line, so that grid labels running into them fall away.
    TextOutL(Canvas, TM.FerroTS_to_StrMicSec(FZoomTS1), TPointF(FCrvRect.Left - FTxtW, FCrvRect.Bottom), 0,
             FFontCol, true);
    TextOutR(Canvas, TM.FerroTS_to_StrMicSec(FZoomTS2), TPointF(FCrvRect.Right + FTxtW, FCrvRect.Bottom), 0,
             FFontCol, true);
    Canvas.Stroke.Color = FFontCol;
    Canvas.Stroke.Dash = TStrokeDash::Dot;
    for (int i = 0; i < FTmNorm.SclCount(); ++i) {
        const uint64_t t = FTmNorm.ScaleAt(i);
        if (t < FZoomTS1 || t > FZoomTS2) continue;
        const double x = FTmNorm.TmNorm(t);
        Canvas.DrawLine(TPointF(x, FCrvRect.Top), TPointF(x, FCrvRect.Bottom), 1);
        TextOutC(Canvas, FTmNorm.TextAt(t), TPointF(x, FCrvRect.Bottom), 0, FFontCol, true);
    }
    Canvas.Stroke.Dash = TStrokeDash::Solid;
}

void TPQPaintBoxCrvTime::PaintRegion(TCanvas& Canvas, int i) {
    const TPropertyRect& p = FPropLst[size_t(i)];
    const bool percent = FStack == stkNone;
    FYNorm.FSclMin = p.Min;
    FYNorm.FSclMax = p.Max;
    FYNorm.SetSclMinMax(p.RR.Bottom, p.RR.Height());
    PaintRegionAxis(Canvas, i, percent);
    if (!WindowValid()) return;
    for (int c = 0; c < GetCrvCnt() && c < int(p.CrvSet.size()); ++c) {
        if (!p.CrvSet.test(size_t(c))) continue;
        const TYRec& y = FYRecLst[size_t(c)];
        // Stacked by group the region's range holds for all its curves; otherwise each its own.
        if (FStack == stkGroup)
            DrawCurve(Canvas, c, p.Min, p.Max, p.RR);
        else
            DrawCurve(Canvas, c, y.FSclMin, y.FSclMax, p.RR);
    }
}

void TPQPaintBoxCrvTime::DrawCurve(TCanvas& Canvas, int Crv, double SclMin, double SclMax, const TRectF& RR) {
    // The vertical axis's mapping with the division taken out of the loop.
    const double bot = RR.Bottom;
    const double k = SclMax > SclMin ? RR.Height() / (SclMax - SclMin) : 0;
    const double hiVal = SclMax > SclMin ? SclMax : SclMin;
    FPath.Clear();
    // Positions lie on the pixel centres: on a pixel's edge, a segment's direction would choose
    // the column.
    // The fast way below tests bits of non-negative positions; a region above the canvas's top
    // (never on screen) takes the rule as it reads.
    if (FPlainDecimation || RR.Top < 0) {
        // The rule as it reads: a point is drawn when it leaves the box of 1 x 2 pixels around the
        // last drawn one.
        bool started = false;
        double lastX = 0, lastY = 0;
        for (const TColumn& col : FColumns)
            FMessLst.ForRuns(
                col.First, col.Last, Crv, [&](const uint64_t*, const float*, const float* v, size_t n) {
                    for (size_t i = 0; i < n; ++i) {
                        if (!std::isfinite(v[i])) continue;
                        const double px = col.X + 0.5,
                                     py =
                                         bot - (std::min(std::max(double(v[i]), SclMin), hiVal) - SclMin) * k;
                        if (started && std::fabs(py - lastY) <= 2.0 && std::fabs(px - lastX) <= 1.0) continue;
                        if (started)
                            FPath.LineTo(TPointF(px, py));
                        else
                            FPath.MoveTo(TPointF(px, py));
                        started = true;
                        lastX = px;
                        lastY = py;
                    }
                });
    } else {
        // The same rule, column by column (see ScanColumns). With many records the columns go in
        // pieces to this thread and a second one, each taking the next piece when it is done, so
        // that a core that is busy elsewhere holds up no more than the piece it has. A piece starts
        // without knowing where the one before ends; its first columns are then run again from
        // the true state until the two agree.
        const size_t n = FColumns.size();
        std::vector<TColumnRun> runs(n);
        std::vector<TScanState> ends(n);
        const TYMap map{SclMin, hiVal, bot, k};
        const uint64_t records = uint64_t(FZoomIdx2 - FZoomIdx1 + 1);
        const TColumn* cols = FColumns.data();
        alignas(64) uint64_t scratch[CScanScratch];
        const size_t pieces = records >= CSplitRecords ? std::min(CScanPieces, n / 4) : 0;
        if (pieces > 1) {
            auto first = [&](size_t Piece) { return Piece * n / pieces; };
            std::atomic<size_t> next{0};
            auto work = [&] {
                // Each thread's scratch on its own stack: in one block, the cache line where the two
                // met went back and forth between the cores at every block of values.
                alignas(64) uint64_t own[CScanScratch];
                for (size_t p; (p = next.fetch_add(1)) < pieces;) {
                    const size_t a = first(p), b = first(p + 1);
                    ScanColumns(FMessLst, Crv, cols + a, b - a, TScanState(), map, own, runs.data() + a,
                                ends.data() + a);
                }
            };
            std::future<void> helper;
            try {
                helper = std::async(std::launch::async, work);
            } catch (const std::system_error&) {
                // No thread to spare: all on this one.
            }
            work();
            if (helper.valid()) helper.get();
            for (size_t p = 1; p < pieces; ++p) {
                for (size_t i = first(p); i < first(p + 1); ++i) {
                    const TScanState guessed = ends[i];
                    ScanColumns(FMessLst, Crv, cols + i, 1, ends[i - 1], map, scratch, runs.data() + i,
                                ends.data() + i);
                    if (ends[i] == guessed) break;
                }
            }
        } else {
            ScanColumns(FMessLst, Crv, cols, n, TScanState(), map, scratch, runs.data(), ends.data());
        }
        for (const TColumnRun& run : runs)
            if (run.Cnt) run.Flush(FPath);
    }
    // One solid pixel wide with its end pixels: a thinner pen is drawn translucent, so overlapping
    // segments of a column would darken where its span does not, and a flat end leaves out a pixel.
    Canvas.Stroke.Color = FYRecLst[size_t(Crv)].FColor;
    Canvas.Stroke.Antialias = false;
    Canvas.Stroke.Thickness = 1;
    Canvas.Stroke.Cap = TStrokeCap::Round;
    Canvas.DrawPath(FPath, 1);
    Canvas.Stroke.Antialias = true;
    Canvas.Stroke.Thickness = 0.3;
    Canvas.Stroke.Cap = TStrokeCap::Flat;
}

void TPQPaintBoxCrvTime::PaintTimeLine(TCanvas& Canvas, uint64_t TS, const std::string& Text,
                                       TAlphaColor Colour) {
    if (TS < FTmNorm.SclMin() || TS > FTmNorm.SclMax()) return;
    const double x = FTmNorm.TmNorm(TS);
    Canvas.Stroke.Color = Colour;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.DrawLine(TPointF(x, FCrvRect.Top), TPointF(x, FCrvRect.Bottom), 1);
    TextOutInvers(Canvas, Text, TPointF(x, FCrvRect.Top - FTxtH), 0, Colour);
}

bool TPQPaintBoxCrvTime::CopyToClip(TClipLst& List) {
    std::string head = "Time";
    for (const auto& y : FYRecLst)
        head += Fmt("%s%s [%s]", chartdefs::CTab.c_str(), y.FSym.c_str(), y.FUnt.c_str());
    List.Add(head);
    for (int i = 0; i < FMessLst.Count(); ++i) {
        const uint64_t ts = FMessLst.Tsl(i);
        std::string line = Fmt("%s %s", FormatDateTimeSecs("dd.mm.yyyy", ts / 1000000000u).c_str(),
                               TM.FerroTS_to_StrMicSec(ts).c_str());
        for (int c = 0; c < GetCrvCnt(); ++c)
            line += chartdefs::CTab + FloatToStr(FMessLst.Val(i, c));
        List.Add(line);
    }
    return !List.Empty();
}

} // namespace ferro
