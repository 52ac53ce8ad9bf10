#include "ferrosim/StreamObjectEncoder.h"

#include "foundation/records/RecordCodec.h"
#include "foundation/records/RecordValues.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace ferro::sim {

namespace {

const char* const kU7[] = {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"};
const char* const kI4[] = {"I1", "I2", "I3", "IN"};
const char* const kFlicker[] = {"U1E", "U2E", "U3E", "U12", "U23", "U31"};
const char* const kPhaseNo[] = {"1", "2", "3", " total"};
const char* const kPhaseName[] = {" L1", " L2", " L3", " total"};
const char* const kOsc[] = {"u1", "u2", "u3", "uN", "u12", "u23", "u31", "i1", "i2", "i3", "iN", "iR"};

tmStamp_t stampOf(double seconds) {
    tmStamp_t ts;
    double whole = std::floor(seconds);
    ts.sec = uint32_t(whole);
    ts.frac = uint32_t(std::min(999999999.0, std::round((seconds - whole) * 1e9)));
    return ts;
}

double wrap180(double deg) {
    return std::remainder(deg, 360.0);
}

double percentOf(double part, double whole) {
    return whole > 0 ? 100.0 * part / whole : 0.0;
}

bool startsWith(const std::string& s, const char* prefix) {
    return s.rfind(prefix, 0) == 0;
}

void extreme(TRecordValues& v, const std::string& member, const std::string& field, double value, double at,
             size_t idx = 0) {
    v.Set(member, field, value, idx);
    v.SetStamp(member, field, stampOf(at), idx);
}

} // namespace

void StreamObjectEncoder::voltage(TRecordValues& v, const std::string& mb, const Measurement& m) {
    v.Set(mb, "F", m.frequency);
    for (size_t k = 0; k < 7; ++k) {
        const ChannelValues& c = m.ch[k];
        const std::string n = kU7[k];
        v.Set(mb, n, c.rms);
        v.Set(mb, n + " polar", c.fundMag, 0);
        v.Set(mb, n + " polar", c.fundAngle, 1);
        v.Set(mb, "THD " + n, c.thd);
        v.Set(mb, "CF " + n, c.crest);
        v.Set(mb, "TIHD " + n, c.tihd); // only in the standard record
    }
    v.Set(mb, "U+", m.u.plus);
    v.Set(mb, "U-", m.u.minus);
    v.Set(mb, "U0", m.u.zero);
    v.Set(mb, "Umean LE", (m.ch[chU1].rms + m.ch[chU2].rms + m.ch[chU3].rms) / 3.0);
    v.Set(mb, "Umean LL", (m.ch[chU12].rms + m.ch[chU23].rms + m.ch[chU31].rms) / 3.0);
    v.Set(mb, "UU0", m.u.unbalanceZero);
    v.Set(mb, "UU", m.u.unbalance);
    v.Set(mb, "MSV", 0.0); // no ripple-control signal on this supply
}

void StreamObjectEncoder::voltageSpectra(TRecordValues& v, const std::string& mb, const Measurement& m) {
    for (size_t k = 0; k < 7; ++k) {
        const ChannelValues& c = m.ch[k];
        const std::string n = kU7[k];
        for (size_t h = 0; h < CHarmOrders; ++h)
            v.Set(mb, "H " + n, h == 1 ? c.fundMag : percentOf(c.harm[h], c.fundMag), h);
        for (size_t i = 0; i < CIHarm; ++i)
            v.Set(mb, "IH " + n, percentOf(c.iharm[i], c.fundMag), i);
        if (k < 3)
            for (size_t h = 2; h < CHarmOrders; ++h)
                v.Set(mb, "Phi H " + n, wrap180(c.harmAngle[h] - double(h) * c.harmAngle[1]), h - 2);
    }
}

void StreamObjectEncoder::voltageExtremes(TRecordValues& v, const std::string& mb, const Measurement& m) {
    for (size_t k = 0; k < 7; ++k) {
        const ChannelValues& c = m.ch[k];
        extreme(v, mb, std::string("Umax ") + kU7[k], c.cycleMax, c.cycleMaxAt);
        extreme(v, mb, std::string("Umin ") + kU7[k], c.cycleMin, c.cycleMinAt);
        for (size_t h = 2; h < CHarmOrders; ++h)
            extreme(v, mb, std::string("Hmax ") + kU7[k], percentOf(c.harm[h], c.fundMag), m.endTime, h - 2);
    }
    extreme(v, mb, "Fmax", m.fMax, m.endTime);
    extreme(v, mb, "Fmin", m.fMin, m.endTime);
}

void StreamObjectEncoder::current(TRecordValues& v, const std::string& mb, const Measurement& m,
                                  const Nominal& nom) {
    double imax = 0;
    for (size_t k = 0; k < 4; ++k) {
        const ChannelValues& c = m.ch[chI1 + k];
        const std::string n = kI4[k];
        v.Set(mb, n, c.rms);
        v.Set(mb, n + " polar", c.fundMag, 0);
        v.Set(mb, n + " polar", c.fundAngle, 1);
        v.Set(mb, "CF " + n, c.crest);
        v.Set(mb, "THD " + n, c.thd);
        double h2 = 0, k1 = 0, k2 = 0;
        for (size_t h = 1; h < CHarmOrders; ++h) {
            if (h >= 2) h2 += c.harm[h] * c.harm[h];
            k1 += c.harm[h] * c.harm[h];
            k2 += double(h * h) * c.harm[h] * c.harm[h];
        }
        v.Set(mb, "TDD " + n, percentOf(std::sqrt(h2), nom.current));
        v.Set(mb, "K " + n, k1 > 0 ? k2 / k1 : 0.0);
        v.Set(mb, "H1 " + n, c.fundMag);
        if (k < 3) imax = std::max(imax, c.rms);
    }
    v.Set(mb, "I+", m.i.plus);
    v.Set(mb, "I-", m.i.minus);
    v.Set(mb, "I0", m.i.zero);
    v.Set(mb, "IU", m.i.unbalance);
    v.Set(mb, "IU0", m.i.unbalanceZero);
    v.Set(mb, "Imean", (m.ch[chI1].rms + m.ch[chI2].rms + m.ch[chI3].rms) / 3.0);
    v.Set(mb, "IN calc", m.ch[chIN].rms);
    v.Set(mb, "Imax", imax);
    v.Set(mb, "IR", m.ch[chIR].rms); // generation 2 on
    v.Set(mb, "THD IR", m.ch[chIR].thd);
}

void StreamObjectEncoder::currentSpectra(TRecordValues& v, const std::string& mb, const Measurement& m) {
    for (size_t k = 0; k < 5; ++k) {
        const ChannelValues& c = m.ch[k < 4 ? chI1 + k : chIR];
        const std::string n = k < 4 ? kI4[k] : "IR";
        for (size_t h = 0; h < CHarmOrders; ++h)
            v.Set(mb, "H " + n, c.harm[h], h);
        for (size_t i = 0; i < CIHarm; ++i)
            v.Set(mb, "IH " + n, c.iharm[i], i);
        // The angle between the voltage and current harmonic of the same phase.
        if (k < 3)
            for (size_t h = 2; h < CHarmOrders; ++h)
                v.Set(mb, "Phi H " + n, wrap180(m.ch[chU1 + k].harmAngle[h] - c.harmAngle[h]), h - 2);
    }
}

void StreamObjectEncoder::bands(TRecordValues& v, const std::string& mb, const Measurement& m,
                                bool voltages) {
    const size_t n = voltages ? 7 : 4;
    for (size_t k = 0; k < n; ++k) {
        const ChannelValues& c = m.ch[voltages ? k : chI1 + k];
        const std::string f = std::string("FB ") + (voltages ? kU7[k] : kI4[k]);
        for (size_t b = 0; b < CBands; ++b)
            v.Set(mb, f, c.bands[b], b);
    }
}

void StreamObjectEncoder::power(TRecordValues& v, const std::string& mb, const Measurement& m) {
    for (size_t p = 0; p < 4; ++p) {
        const PowerValues& w = m.power[p];
        const std::string n = kPhaseNo[p];
        v.Set(mb, "P" + n, w.P);
        v.Set(mb, "Q" + n, w.Q);
        v.Set(mb, "S" + n, w.S);
        v.Set(mb, "PV" + n, w.PV);
        v.Set(mb, "QV" + n, w.QV);
        v.Set(mb, "SV" + n, w.SV);
        v.Set(mb, "SN" + n, w.SN);
        v.Set(mb, "D" + n, w.D);
        v.Set(mb, "PF" + n, w.PF);
        v.Set(mb, "tan phi" + n, w.tanPhi);
        if (p < 3) v.Set(mb, "PHI" + n, w.phiDeg);
    }
    const char* cosNames[] = {"cos PHL1", "cos PHL2", "cos PHL3", "cos PH"};
    for (size_t p = 0; p < 4; ++p)
        v.Set(mb, cosNames[p], m.power[p].cosPhi);
    v.Set(mb, "P+", m.Pplus);
    v.Set(mb, "Q+", m.Qplus);
    v.Set(mb, "S+", m.Splus);
    v.Set(mb, "SU", m.SU);
    v.Set(mb, "Se", m.Se);
    v.Set(mb, "PFe", m.PFe);
    v.Set(mb, "SeN", m.SeN);
    v.Set(mb, "SN/S1", percentOf(m.power[3].SN, m.power[3].SV));
    v.Set(mb, "SU/S+", percentOf(m.SU, m.Splus));
}

void StreamObjectEncoder::powerExtremes(TRecordValues& v, const std::string& mb, const Measurement& m) {
    for (size_t p = 0; p < 4; ++p) {
        const PowerValues& w = m.power[p];
        const std::string n = kPhaseName[p];
        extreme(v, mb, "Pmax" + n, w.Pmax, w.PmaxAt);
        extreme(v, mb, "Pmin" + n, w.Pmin, w.PminAt);
        extreme(v, mb, "Qmax" + n, w.Q, m.endTime);
        extreme(v, mb, "Qmin" + n, w.Q, m.endTime);
        extreme(v, mb, "Smax" + n, w.S, m.endTime);
    }
}

void StreamObjectEncoder::energy(TRecordValues& v, const std::string& mb, const EnergyCounter& e) {
    for (size_t p = 0; p < 4; ++p) {
        const std::string n = kPhaseName[p];
        v.Set(mb, "WP+" + n, e.WPplus[p]);
        v.Set(mb, "WP-" + n, e.WPminus[p]);
        v.Set(mb, "WQ+" + n, e.WQplus[p]);
        v.Set(mb, "WQ-" + n, e.WQminus[p]);
        v.Set(mb, "WS" + n, e.WS[p]);
        v.Set(mb, "WQV" + n, e.WQV[p]);
    }
    v.SetStamp(mb, "Start", e.start());
}

std::vector<uint8_t> StreamObjectEncoder::Measured(const TRecordDef& def, uint32_t objId, const tmStamp_t& ts,
                                                   const Measurement& m, const EnergyCounter& e,
                                                   const Nominal& nom) {
    TRecordValues v(def);
    for (const TMemberDef& member : def.Members) {
        const std::string& mb = member.Type->TypeName;
        if (startsWith(mb, "hdr")) {
            v.Set(mb, "ObjID", objId);
            v.SetStamp(mb, "TS", ts);
        } else if (mb == "u_s_t" || mb == "u_std_t") {
            voltage(v, mb, m);
            if (mb == "u_std_t") voltageSpectra(v, mb, m);
        } else if (mb == "u_10t_t" || mb == "u_150t_t") {
            v.Set(mb, "Flags", m.flags);
            for (size_t k = 0; k < 6; ++k)
                v.Set(mb, std::string("Pinst ") + kFlicker[k], m.pinst[k]);
        } else if (mb == "u_ext_t") {
            voltageExtremes(v, mb, m);
        } else if (mb == "u_stat_t" || mb == "u_2h_t") {
            // Short- and long-term severity follow the instantaneous sensation on this steady supply.
            for (size_t k = 0; k < 6; ++k) {
                const double pst = 0.7 * std::sqrt(m.pinst[k]);
                v.Set(mb, std::string("Pst ") + kFlicker[k], pst);
                v.Set(mb, std::string("Plt ") + kFlicker[k], pst);
            }
            for (size_t k = 0; k < 3; ++k) {
                const double dev = percentOf(m.ch[k].rms - nom.voltage, nom.voltage);
                v.Set(mb, std::string("Uover ") + kU7[k], std::max(0.0, dev));
                v.Set(mb, std::string("Uunder ") + kU7[k], std::max(0.0, -dev));
            }
        } else if (mb == "u_fb_t" || mb == "i_fb_t") {
            bands(v, mb, m, mb == "u_fb_t");
        } else if (startsWith(mb, "i_s_t") || startsWith(mb, "i_std_t")) {
            current(v, mb, m, nom);
            if (startsWith(mb, "i_std_t")) currentSpectra(v, mb, m);
        } else if (mb == "i_ext_t") {
            for (size_t k = 0; k < 4; ++k) {
                const ChannelValues& c = m.ch[chI1 + k];
                extreme(v, mb, std::string("Imax ") + kI4[k], c.cycleMax, c.cycleMaxAt);
                extreme(v, mb, std::string("Imin ") + kI4[k], c.cycleMin, c.cycleMinAt);
            }
        } else if (mb == "p_std_t") {
            power(v, mb, m);
        } else if (mb == "p_ext_t") {
            powerExtremes(v, mb, m);
        } else if (mb == "w_t") {
            energy(v, mb, e);
        } else if (mb == "tmp_t_V2_2") {
            v.Set(mb, "Temp", m.temperature);
        } else if (mb == "c_10s_f") {
            tmStamp_t from = ts;
            from.sec -= 10;
            v.SetStamp(mb, "Start", from);
            v.Set(mb, "F10s", m.frequency);
            v.Set(mb, "Fmin", m.fMin);
            v.Set(mb, "Fmax", m.fMax);
        }
    }
    return TRecordCodec::Encode(v);
}

std::vector<uint8_t> StreamObjectEncoder::Oscilloscope(const TRecordDef& def, const tmStamp_t& ts,
                                                       const Waveforms& w, double measuredHz,
                                                       const Nominal& nom) {
    TRecordValues v(def);
    const size_t channels = def.TailType ? def.TailType->Fields.size() : 0;
    const std::string& hdr = def.Members.at(0).Type->TypeName;
    const std::string& osc = def.Members.at(1).Type->TypeName;
    v.SetStamp(hdr, "TS", ts);
    v.Set(osc, "ChanCnt", double(channels));
    v.Set(osc, "SmplSize", def.TailType ? def.TailType->Size : 0);
    v.Set(osc, "Fnom", nom.frequency);
    v.Set(osc, "Fmeas", measuredHz);
    v.Set(osc, "Uratio", 1.0);
    v.Set(osc, "Iratio", 1.0);
    v.Set(osc, "Unom", nom.voltage);
    v.Set(osc, "Inom", nom.current);
    v.Set(osc, "smplrte", w.rate);
    v.SetTailCount(w.size());
    // The tail's fields are the channels in their order (u1 .. iR); looked up once, not per sample.
    std::vector<int> field(channels);
    for (size_t c = 0; c < channels && c < CChannels; ++c)
        field[c] = def.TailType->FieldIndex(kOsc[c]);
    for (size_t k = 0; k < w.size(); ++k)
        for (size_t c = 0; c < channels && c < CChannels; ++c)
            if (field[c] >= 0) v.TailFieldAt(k, size_t(field[c]))[0].val = w.ch[c][k];
    return TRecordCodec::Encode(v);
}

} // namespace ferro::sim
