#pragma once
// The transformer state of the basic settings page: ratios per channel as the user types them, the
// leading factor and per-channel corrections the instrument stores, and the nominal voltages that
// follow from them and the mains form.

namespace ferro {

// The mains form (values of the setup's list 0E040000 in this order).
enum TNetzForm { nf4L3Pf, nf4L1ph, nf3L };

struct TWandlerRec {
    float WLFU = 1;                // leading voltage factor: the greatest of the four
    float WLKFU[4] = {1, 1, 1, 1}; // correction per voltage channel, relative to WLFU
    float WFU[4] = {1, 1, 1, 1};   // voltage transformer ratio per channel
    float WLFI = 1;                // leading current factor
    float WLKFI[4] = {1, 1, 1, 1}; // correction per current channel
    float WFI[4] = {1, 1, 1, 1};   // current transformer ratio per channel
    TNetzForm Netzform = nf4L3Pf;
    float SekNennSpannung = 230; // V
    float NormLLSp = 100;        // nominal voltage in % of the secondary nominal voltage
    float NennSpannungLL = 0;    // primary, between lines, V
    float NennSpannungLE = 0;    // primary, line to earth, V

    // Ratios to leading factor and corrections; all four 0 give a factor of 0 and NaN corrections.
    void CalcInputs();
    // Leading factor and corrections back to ratios, and the primary nominal voltage.
    void CalcOutputs();
    // A new mains form: ratios back to 1, the nominal values of the form's typical supply (230 V
    // from three wires to four, 100 V into three wires). The secondary range's list index that goes
    // with it (0: 230 V, 4: 100 V), or -1 when the form stays within the four-wire kinds.
    int ChangeNetzform(TNetzForm New);
    // The nominal voltage typed on the page (line to earth for four wires, between lines for three)
    // into NormLLSp; a text that is no number counts as 230 V or 100 V.
    void NennspannungChange(const char* LEText, const char* LLText);
    // After NormLLSp was clipped to its limits: the secondary nominal voltage that keeps the primary
    // nominal voltage the user asked for.
    void FitSekNennSpannung();
};

} // namespace ferro
