// The live view's readers without a widget: panel texts, the view table and the length tests.
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "foundation/MemStream.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/FieldTable.h"
#include "live/CompleteTable.h"
#include "live/LiveReaders.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace ferro;

TEST(LiveReaders, PanelTextDividesWhileTheQuotientStaysAboveOne) {
    EXPECT_EQ(PanelValueText(1000, "V"), "1000.00 V");
    EXPECT_EQ(PanelValueText(1001, "V"), "1.00 kV");
    EXPECT_EQ(PanelValueText(1e6, "V"), "1000.00 kV"); // the stop looks at the last quotient
    EXPECT_EQ(PanelValueText(-22500, "W"), "-22.50 kW");
    EXPECT_EQ(PanelValueText(5e12, "VA"), "5000.00 GVA");
    EXPECT_EQ(PanelValueText(0.95, ""), "0.95 ");
}

TEST(LiveReaders, ViewsAskForTheirObjectAndWrongLengthsAreDropped) {
    EXPECT_EQ(StrucInfoFor(sdOsziTime, 1).FerroStruct, ssosc_dta_t_V1_0);
    EXPECT_EQ(StrucInfoFor(sdOsziFFT, 2).FerroStruct, ssosc_dta_t_V2_2);
    EXPECT_EQ(StrucInfoFor(sdFrqBandIL, 2).FerroDataObj, do1s);
    EXPECT_EQ(StrucInfoFor(sdIHrmULL, 2).FerroDataObj, do150T);

    TLiveReaders r;
    std::vector<std::string> log;
    r.Log = [&](const std::string& t) { log.push_back(t); };
    TByteTransport obj;
    obj.FBytes.assign(TCsRecord::Length(2) - 8, 0);
    r.FStrucInf = StrucInfoFor(sdPanel, 2);
    EXPECT_FALSE(r.UpdateGrid(obj));
    EXPECT_EQ(log, std::vector<std::string>{"PANEL: 2320<>2328"});

    // A harmonic object of the wrong length goes without a word; the chart keeps its values.
    TPQPaintBoxHarm harm;
    r.Hrm = &harm;
    r.FStrucInf = StrucInfoFor(sdHrmULE, 2);
    EXPECT_FALSE(r.UpdateGrid(obj));
    EXPECT_EQ(log.size(), 1u);

    // No channel chosen: oscilloscope objects leave the chart as it was.
    TPQPaintBoxCrvTime scope;
    scope.SetCrvCnt(1);
    scope.NewValues({1.f}, 1);
    r.Oszi = &scope;
    r.FStrucInf = StrucInfoFor(sdOsziTime, 2);
    EXPECT_FALSE(r.UpdateGrid(obj));
    EXPECT_EQ(scope.GetMessCnt(), 1);
}

namespace {

void PutF32(std::vector<uint8_t>& b, size_t at, float v) {
    if (b.size() < at + 4) b.resize(at + 4);
    std::memcpy(b.data() + at, &v, 4);
}

} // namespace

TEST(CompleteTable, LeavesReadTheirFieldsFromTheObjectsBytes) {
    const TCompleteNode root = TCompleteTable::FillTreeView(2);
    EXPECT_EQ(root.Caption, "Value (Live-Daten)");
    ASSERT_EQ(root.Children.size(), 8u);
    EXPECT_EQ(root.Children[4].Caption, "1 Sec");
    EXPECT_EQ(root.Children.back().Tag.FerroStruc, ssosc_dta_t_V2_2);

    TCompleteTable t;
    t.Select({do1s, ssu_s_t, stMesswerte}, 2);
    ASSERT_FALSE(t.FGridLst().empty());
    ASSERT_EQ(t.Cols().size(), 2u);
    std::vector<uint8_t> obj;
    const TGridRec& first = t.FGridLst()[0];
    PutF32(obj, first.Offs, 230.1234f);
    obj.resize(4000);
    std::string text;
    EXPECT_TRUE(t.GetValueFromBytes(obj, 0, 0, text));
    EXPECT_EQ(text, first.Symb);
    EXPECT_TRUE(t.GetValueFromBytes(obj, 0, 1, text));
    EXPECT_EQ(text, "230.123");
    EXPECT_FALSE(t.GetValueFromBytes(std::vector<uint8_t>(8), 0, 1, text)) << "a short object reads nothing";

    // Harmonics: 51 rows of orders, one column per field, read by row from the field's array.
    t.Select({do150T, ssu_std_t, stHarmonische}, 2);
    ASSERT_GT(t.Cols().size(), 1u);
    EXPECT_EQ(t.Cols()[0].Caption, "Harmonische");
    EXPECT_EQ(t.RowCount(obj), 51);
    obj.assign(8000, 0);
    PutF32(obj, t.FGridLst()[0].Offs + 5 * 4, 3.5f);
    EXPECT_TRUE(t.GetValueFromBytes(obj, 5, 1, text));
    EXPECT_EQ(text, "3.5");
}

TEST(CompleteTable, OscilloscopeRowsAre48BytesApartFromGenerationTwoAnd44Below) {
    for (uint8_t gen : {uint8_t(1), uint8_t(2)}) {
        SCOPED_TRACE(int(gen));
        TCompleteTable t;
        t.Select({doOsc, gen >= 2 ? ssosc_dta_t_V2_2 : ssosc_dta_t_V1_0, stMesswerte}, gen);
        ASSERT_FALSE(t.FGridLst().empty());
        const size_t stride = gen >= 2 ? 48 : 44;
        const uint32_t first = t.FGridLst()[0].Offs;
        std::vector<uint8_t> obj(first + 3 * stride, 0);
        for (int k = 0; k < 3; ++k)
            PutF32(obj, first + size_t(k) * stride, float(100 + k));
        // The count word says 3 samples; the object carries exactly them.
        const TRecordDef* rec = TFieldTable::Instance().RecordFor(doOsc, gen);
        MemStream::pokeU32(obj.data() + rec->TailCountOffs, 3);
        EXPECT_EQ(t.RowCount(obj), 3);
        std::string text;
        EXPECT_TRUE(t.GetValueFromBytes(obj, 2, 1, text));
        EXPECT_EQ(text, "102");
    }
}

TEST(CompleteTable, ALeafWithoutFieldsOfItsClassHasOnlyTheFixedColumns) {
    TCompleteTable t;
    t.Select({do1s, ssu_s_t, stMaxHarmonische}, 2);
    EXPECT_TRUE(t.FGridLst().empty());
    EXPECT_EQ(t.Cols().size(), 2u);
}
