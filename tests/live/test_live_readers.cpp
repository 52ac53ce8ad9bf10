// The live view's readers without a widget: panel texts, the view table and the length tests.
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "foundation/records/CsRecord.h"
#include "live/LiveReaders.h"

#include <gtest/gtest.h>

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
