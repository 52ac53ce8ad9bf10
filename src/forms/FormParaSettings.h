#pragma once
// The basic settings of the parameter form (level 0): fixed pages in which every control stands for
// a parameter of the setup document. A control finds its parameter by its object name (everything
// after the first "_" is the decimal id); the values go through TEasyPara, which converts units and
// validates, into the document.

#include "para/EasyPara.h"

#include <QTabWidget>

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSpinBox;

namespace ferro {

class PaintBoxWidget;
class TPQPaintBoxHarm;
class TParaTimePage;
class TSetupDocument;
class TXMLLangu;

class TParaSettings : public QTabWidget {
    Q_OBJECT
public:
    explicit TParaSettings(QWidget* Parent = nullptr);
    ~TParaSettings() override;

    // A control and the row of its parameter.
    struct TSettingsDict {
        TGridRow* GR = nullptr;
        std::vector<QWidget*> ObjLst;
    };

    // Rebuilds all bindings on `Doc` (at level 0); `Gen` is the firmware's layout generation.
    void ReadEasyPara(TSetupDocument* Doc, const TXMLLangu* Lang, uint8_t Gen, char DecimalSep);
    // The transformer state into the document; false (with the one warning) when it is unplausible.
    bool WriteWandler();
    // The control's id from its name: after the first "_"; 0 when there is none or it is no number.
    static uint32_t TagFromName(const QString& Name);

    TEasyPara& Easy() { return FEasy; }
    const std::map<uint32_t, TSettingsDict>& SettingsDict() const { return FSettingsDict; }
    TParaTimePage* TimePage() const { return FTimePage; }

    // Shows a message (the form's dialog).
    std::function<void(const std::string&)> FMessage;
    std::function<void(const std::string&)> FLog;

    // Named controls the logic reaches directly.
    QLineEdit *edtUL[4] = {}, *edtI[4] = {};
    QLineEdit *edtNennspannungLL = nullptr, *edtNennspannungLE = nullptr;
    QLineEdit *edtharmonicLimit = nullptr, *edtBADPri = nullptr;
    QSpinBox* spnboxHarm = nullptr;
    PaintBoxWidget* pbHarm = nullptr;
    QRadioButton *rbPercOszi = nullptr, *rbAmpOszi = nullptr, *rbPercTRMS = nullptr, *rbAmpTRMS = nullptr;
    QLabel *lblNennStromValOsci = nullptr, *lblNennStromValTRMS = nullptr, *lblNennStrom = nullptr;

protected:
    bool eventFilter(QObject* O, QEvent* E) override;

signals:
    // A value went into the document.
    void Changed();
    // The page on show changed (the time page's stream follows it).
    void PageChanged();

private:
    // Pages, built once.
    QWidget* BuildBasicPage();
    QWidget* BuildLimitsPage();
    QWidget* BuildRecorderPage(bool Osci);
    QWidget* BuildRipplePage();
    QWidget* BuildRcmPage();

    // Binding.
    void NameToTag(QWidget* Container);
    void GetSettings(QWidget* Control, uint32_t Id);
    void ApplyRow(QWidget* Control, uint32_t Id);
    void CheckSpecialPopBox(QComboBox* Box, uint32_t Id);
    void UpdateObjects(QWidget* Sender, uint32_t Id);
    void SetNewEditValue(uint32_t Id, const QString& Text);
    void OnValChange(QWidget* Sender);
    void FollowUp(uint32_t Id);
    uint32_t TagOf(const QObject* Control) const;

    // Transformers, nominal values, current unit, harmonic limits, RCM.
    void FillWandlerOutput();
    void UpdateWandler();
    void NetzformChange(TNetzForm Old);
    void NennspannungEdited();
    void NennStromDispChange(bool Amp);
    void swtchNennstrom();
    void spnboxHarmChange();
    void UpdateHarmChart();
    void FillRCM();
    void edtBADPriChange();

    TEasyPara FEasy;
    std::map<uint32_t, TSettingsDict> FSettingsDict;
    TParaTimePage* FTimePage = nullptr;
    TPQPaintBoxHarm* FHarmBox = nullptr;
    bool FFilling = false; // controls are being filled: their change events do not write
};

} // namespace ferro
