#pragma once
// The vocabulary that the link, the views and the host share: enumerations, plain records,
// constants, callback types and a few small helpers.

#include "foundation/TimeRecords.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QObject;

namespace ferro {

class MemStream;

using TSender = QObject*;

// ---- Enumerations (ordinal order matters) ----

enum TBtnControlDevice : uint8_t { BtnLeft, BtnRight, BtnTop, BtnDown, BtnEnter };
enum TItmTyp : uint8_t { itTxt, itFlt, itInt, itLst, itBool };
enum TCCCISratchpad : uint8_t { spNone, spLangTXT, spXML, spGetLog, spFlushLog, spStatus, spPCAP };
enum TDirectKind : uint8_t {
    dkpara,
    dkparaRefresh,
    dkvisu,
    dkdata,
    dkoffline,
    dkflash,
    dkmassflash,
    dkstatus,
    dkInitSSH,
    dkUserSetup,
    dkcalib,
    // The complete value table (every raw value of a live object).
    dkcomplete
};
enum TWorkStatus : uint8_t { WorkBegin, WorkWorking, WorkEnd };
enum TDevType : uint8_t { devtypNone, devtypFerro, devtypFerroDE, devtypQuartz, devtypFerroNimbus };
enum TIpVer : uint8_t { ipverV4, ipverV6 };
enum TConType : uint8_t { ctCCCI, ctSSH };
// Direction of a transfer event.
enum TWorkMode : uint8_t { wmRead, wmWrite };

const char* DirectKindName(TDirectKind k);
const char* DevTypeName(TDevType t);

// ---- Message dialogs (the dialog service of the views) ----

enum TMsgDlgType : uint8_t { mtWarning, mtError, mtInformation, mtConfirmation, mtCustom };
enum TMsgDlgBtn : uint8_t { mbYes, mbNo, mbOK, mbCancel, mbAbort, mbRetry, mbIgnore };
using TMsgDlgButtons = uint32_t; // bit set of TMsgDlgBtn
constexpr TMsgDlgButtons Buttons(std::initializer_list<TMsgDlgBtn> l) {
    TMsgDlgButtons r = 0;
    for (auto b : l)
        r |= 1u << b;
    return r;
}
// Dialog results, numbered as the answers are compared (Yes is 6).
enum TModalResult : int {
    mrNone = 0,
    mrOk = 1,
    mrCancel = 2,
    mrAbort = 3,
    mrRetry = 4,
    mrIgnore = 5,
    mrYes = 6,
    mrNo = 7
};

// ---- Records ----

struct TDeviceRec {
    TDevType DevType = devtypNone;
    std::string IP;
    TIpVer IPver = ipverV4;
    TConType ConType = ctCCCI;
    std::string Port;
    std::string ParaPort;
    bool useHTTPS = false;
    bool IsSerial = false;
    std::string Anlage, Feld, Geraet;
    uint32_t SN = 0;
};

union TAbout4Byte {
    int32_t vaInt;
    uint32_t vaLong;
    float vaSgl;
    int16_t vaSmall[2];
    uint16_t vaWord[2];
    uint8_t vaByte[4];
};
static_assert(sizeof(TAbout4Byte) == 4, "four-byte overlay");

struct TXMLRec {
    std::string Grp, Par, Help;
    std::string Value, OriValue, Def, Low, High;
    TItmTyp Typ = itTxt;
    std::vector<std::string> Lst;
    int32_t Idx = 0, Secs = 0;
    int32_t Visibility = 0, Editability = 0;
    int32_t XMLChild = 0, XMLSubChild = 0;
    bool tag = false;
    // Splits `Text` at every comma and appends each piece to Lst.
    void AddListe(std::string Text);
};

struct TChangeRecord {
    uint32_t ID = 0;
    std::string Bezeichner, OldValue, NewValue;
};

struct TFrmParaSettings {
    int32_t LytWth = 0, ParaInfo = 0, ParaVal = 0, ParaDef = 0, ParaMin = 0, ParaMax = 0, SelInfo = 0,
            SelCheck = 0;
};

struct TFrmOnOfflineSettings {
    int32_t LytWth = 0, Ereignis = 0, Zeit = 0, Max = 0, Einheit = 0, Harm = 0, Dauer = 0;
};

struct TDatapoint {
    std::string name;
    bool rec = false, Def = false;
    int32_t ValChild = 0, ValSubChild = 0, Visibility = 0;
};

struct TProgressRecord {
    bool start = false, stop = false;
    uint64_t Progress = 0, Max = 0;
};

struct TStreamRec {
    uint32_t ObjID = 0;
    uint32_t ObjHdl = 0; // 0 none, 1 asked for, above 1 a real handle
    bool Active = false;
    bool WithBinary = false;
    uint32_t BinaryHdl = 0;
};

// Carries one stream sample block from the link to a view.
class TByteTransport {
public:
    std::vector<uint8_t> FBytes; // the whole object from its ObjID on
    tmStamp_t TS_Mess{};         // the object's stamp, already local
    uint32_t SmplCnt = 0;
    uint32_t smplrte = 0;
};

using TSingleArray = std::vector<float>;
using TByteSet = std::bitset<256>;

// ---- Constants ----

constexpr std::array<uint32_t, 10> CDataObj = {0x00FFFFFF, 0x01FFFFFF, 0x02FFFFFF, 0x03FFFFFF, 0x04FFFFFF,
                                               0x05FFFFFF, 0x06FFFFFF, 0x07FFFFFF, 0x08FFFFFF, 0x00989680};
constexpr uint32_t CBinaryObjID = 0x00989680;

constexpr const char* CDataPoint = "datapoint";
constexpr const char* CGroup = "group";
constexpr const char* CMandatory = "mandatory";
constexpr const char* CRec = "rec";

using TAlphaColor = uint32_t; // 0xAARRGGBB
constexpr std::array<TAlphaColor, 12> TColArr = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFF00FF,
                                                 0xFFFF8C00, 0xFF0084FF, 0xFF2B8B41, 0xFF503580,
                                                 0xFF000000, 0xFFC80003, 0xFF55AAFF, 0xFF005050};

// ---- Callback types ("assigned" means non-empty) ----

using TMenuButtonResizeCallBack = std::function<void(TSender)>;
using TAddCallBack = std::function<void(TSender, const std::string& LogStr)>;
using TComXMLCallBack = std::function<void(TSender, const std::string& FileName, int XMLType)>;
using TThreadStreamCallBack = std::function<void(TSender, MemStream& Stream)>;
using TWaitForConnDone = std::function<void(TSender, bool Connected)>;
using TCheckXMLVersion = std::function<void(TSender, const std::string& SL)>;
using TStartStream = std::function<void(TSender, int Kind)>;
using TStopStream = std::function<void(TSender)>;
using TUpdateGrid = std::function<void(TSender)>;
using TRecOverview = std::function<void(TSender, MemStream& Stream)>;
using TEvtOverview = TRecOverview;
using TRecUebClick = std::function<void(TSender)>;
using TEvtUebClick = TRecUebClick;
using TRecClick = std::function<void(TSender, const std::string& RecName)>;
using TEvtClick = TRecClick;
using TRecToTable = std::function<void(TSender, const std::string& FN)>;
using TEvtToTable = TRecToTable;
using TRecDelAll = std::function<void(TSender)>;
using TEvtDelAll = TRecDelAll;
using TRecDel = std::function<void(TSender, const std::string& FN)>;
using TEvtDel = TRecDel;
using TParaClick = std::function<void(TSender)>;
using TGetNewDisplayImage = std::function<void(TSender)>;
using TSetNewDisplayImage = std::function<void(TSender, MemStream& imgStr)>;
using TControlDevice = std::function<void(TSender, TBtnControlDevice Btn)>;
using TFlashDone = std::function<void(TSender, bool Success)>;
using TFormClose = std::function<void(TSender)>;
using TNAKCB = std::function<void(TSender, uint32_t errCode)>;
using TFerroLogNotify = std::function<void(TSender, const std::string& LogLn, bool ToMemo)>;
using TSetLabConText = std::function<void(TSender, const std::string& Text)>;
using TSendParaDone = std::function<void(TSender)>;
using TSendCCCIFileNext = std::function<void(TSender, bool NAKFailed)>;
using TShutDownComplete = std::function<void(TSender)>;
using TMassDownload = std::function<void(TSender)>;
using TOnOfflineSettingsCallback = std::function<void(TSender, const TFrmOnOfflineSettings&)>;
using TParaSettingsCallback = std::function<void(TSender, const TFrmParaSettings&)>;
using TEnableDisableBar = std::function<void(TSender, bool Endable)>;
using TShowHideReportButtons = std::function<void(TSender, bool Show)>;
using TShowHideReportMenu = std::function<void(TSender)>;
using TWorkCallback = std::function<void(TSender, const std::string& Text, bool start, bool Clear)>;
using TConnectThreadEnd = std::function<void(TSender, bool Success, bool AuthError)>;
using TXMLVersionCallback = std::function<void(TSender, int LangVer, int ObjPropsVer, int strucVer)>;
using TProgressCallBack = std::function<void(TSender, const TProgressRecord& rec)>;

// What the program knows of a measured object id: its name and unit. An unknown id gives a record
// with that id and empty texts.
struct TMGFerroRec {
    uint32_t Id = 0;
    std::string Name, Unit;
};
using TGetMGFerroPtr = std::function<TMGFerroRec(TSender, uint32_t Id)>;
using TGlobalProgressCallBack = std::function<void(TSender, bool Enabled, const std::string& Text)>;
using TChangeLoadText = std::function<void(TSender, const std::string& Text)>;
using TThreadedMessageCallBack = std::function<void(TSender, int AResult)>;
using TDisplayConnMessage =
    std::function<void(const std::string& Text, TMsgDlgType MsgType, TThreadedMessageCallBack CB,
                       TMsgDlgButtons Buttons, TMsgDlgBtn DefButton)>;
using TThreadExceptCallBack = std::function<void(TSender)>;
using TFerroSerNumCallBack =
    std::function<void(TSender, uint32_t NewSN, TDevType DevTyp, const std::string& Anlage,
                       const std::string& Feld, const std::string& Geraet)>;
using TBinaryStreamCB = std::function<void(TSender, uint32_t BinCnt, const std::vector<uint8_t>& BinStatus)>;
using TProc = std::function<void()>;
using TStringProc = std::function<void(const std::string&)>;

// ---- Helpers ----

// Looks for Ch in S. Found: Piece is the text before it, both are removed from S, S is trimmed.
// Not found: S is trimmed and Piece becomes all of S, while S keeps its text.
void LocalExtractToChar(std::string& S, char Ch, std::string& Piece);

// "dk" + Name among the members of TDirectKind, case-insensitive; unknown gives dkpara.
TDirectKind GetDirectKind(const std::string& Name);

// Rainbow colour for Index of Count, 0xAARRGGBB.
TAlphaColor AlphaColVerlauf(int Count, int Index);

// Opaque colour on the hue circle in steps of one; outside 0..1530 opaque black.
TAlphaColor GenerateAlphaColor(int V);

// UTC seconds since 1970 to the computer's local time, as seconds since 1970 of the local wall clock.
// On failure the value comes back unchanged.
int64_t UTCToSystemTime(int64_t utcSeconds);
// The same for a date and time; the milliseconds stay as they were.
TDateTime UTCToSystemTime(TDateTime utc);

} // namespace ferro
