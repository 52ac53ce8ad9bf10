#include "data/DataFileHead.h"

#include "foundation/MemStream.h"

#include <cmath>
#include <cstring>

namespace ferro {

namespace {

std::string fixedText(const uint8_t* p, size_t width) {
    const char* c = reinterpret_cast<const char*>(p);
    return std::string(c, strnlen(c, width));
}

void putText(uint8_t* p, const std::string& s, size_t width) {
    std::memset(p, 0, width);
    std::memcpy(p, s.data(), std::min(s.size(), width - 1));
}

tmStamp_t stampAt(const uint8_t* p) {
    return {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
}

void putStamp(uint8_t* p, const tmStamp_t& t) {
    MemStream::pokeU32(p, t.sec);
    MemStream::pokeU32(p + 4, t.frac);
}

bool finite(float f) {
    return std::isfinite(f);
}

} // namespace

const char* TDataFileHead::Magic(TFileKind kind) {
    switch (kind) {
    case TFileKind::Events:
        return "FERROEVT";
    case TFileKind::BinaryInputs:
        return "FERROBIN";
    default:
        return "FERROREC";
    }
}

bool TDataFileHead::Decode(const uint8_t* p, uint64_t fileSize, std::string& reason) {
    bool known = false;
    for (TFileKind k : {TFileKind::Recording, TFileKind::Events, TFileKind::BinaryInputs})
        if (std::memcmp(p, Magic(k), 8) == 0) {
            Kind = k;
            known = true;
        }
    if (!known) {
        reason = "keine Datei im Aufzeichnungsformat (Kennung fehlt)";
        return false;
    }
    Version = MemStream::peekU16(p + 8);
    if (Version == 0 || Version > CurrentVersion) {
        reason = "Formatversion " + std::to_string(Version) + " wird nicht unterstützt";
        return false;
    }
    HeadLen = MemStream::peekU32(p + 12);
    if (HeadLen < FixedSize || HeadLen > MaxHeadLen || HeadLen > fileSize) {
        reason = "Kopflänge " + std::to_string(HeadLen) + " passt nicht zur Datei (" +
                 std::to_string(fileSize) + " Bytes)";
        return false;
    }
    Env.SN = MemStream::peekU32(p + 16);
    Env.Anlage = fixedText(p + 20, 128);
    Env.Feld = fixedText(p + 148, 128);
    Env.Geraet = fixedText(p + 276, 128);
    Env.LeiterSys = p[404];
    for (size_t i = 0; i < Env.Limits.size(); ++i)
        Env.Limits[i] = MemStream::peekF32(p + 408 + 4 * i);
    const uint8_t* c = p + 604;
    Context.Valid = MemStream::peekU32(c);
    Context.DataClass = MemStream::peekU32(c + 4);
    Context.SampleRate = MemStream::peekU32(c + 8);
    Context.Start = stampAt(c + 16);
    Context.Trigger = stampAt(c + 24);
    Context.Nennspannung = MemStream::peekF32(c + 32);
    Context.WandlerVerh = MemStream::peekF32(c + 36);
    Context.WandlerKorr = MemStream::peekF32(c + 40);
    Context.Nennfrequenz = MemStream::peekF32(c + 44);
    Context.Nennstrom = MemStream::peekF32(c + 48);
    Tz.signHours = MemStream::peekU16(p + 660);
    Tz.minutes = MemStream::peekU16(p + 662);
    EntrySize = MemStream::peekU32(p + 664);
    Count1 = MemStream::peekU32(p + 668);
    Count2 = MemStream::peekU32(p + 672);
    if (Env.LeiterSys >= CLeiterSysCount) {
        reason = "unbekannte Netzform " + std::to_string(Env.LeiterSys);
        return false;
    }
    if (Context.DataClass >= uint32_t(CDataClassCount)) {
        reason = "unbekannte Datenklasse " + std::to_string(Context.DataClass);
        return false;
    }
    if (Context.Start.frac >= 1000000000u || Context.Trigger.frac >= 1000000000u) {
        reason = "Zeitstempel mit mehr als einer Sekunde Bruchteil";
        return false;
    }
    if (!finite(Context.Nennspannung) || !finite(Context.WandlerVerh) || !finite(Context.WandlerKorr)) {
        reason = "Nennwerte sind keine Zahlen";
        return false;
    }
    if (EntrySize == 0 || EntrySize > MaxEntrySize) {
        reason =
            "Eintragsgröße " + std::to_string(EntrySize) + " außerhalb 1 bis " + std::to_string(MaxEntrySize);
        return false;
    }
    // Every reader of a binary-input file takes the id table from the head: it must be there.
    if (Kind == TFileKind::BinaryInputs && (Count1 > MaxInputs || HeadLen < FixedSize + 4 * MaxInputs)) {
        reason = std::to_string(Count1) + " Eingänge, höchstens " + std::to_string(MaxInputs) +
                 ", oder die Eingangstabelle fehlt";
        return false;
    }
    return true;
}

void TDataFileHead::Encode(uint8_t* p) const {
    std::memset(p, 0, FixedSize);
    std::memcpy(p, Magic(Kind), 8);
    MemStream::pokeU16(p + 8, Version);
    MemStream::pokeU32(p + 12, HeadLen);
    MemStream::pokeU32(p + 16, Env.SN);
    putText(p + 20, Env.Anlage, 128);
    putText(p + 148, Env.Feld, 128);
    putText(p + 276, Env.Geraet, 128);
    p[404] = Env.LeiterSys;
    for (size_t i = 0; i < Env.Limits.size(); ++i)
        MemStream::pokeF32(p + 408 + 4 * i, Env.Limits[i]);
    uint8_t* c = p + 604;
    MemStream::pokeU32(c, Context.Valid);
    MemStream::pokeU32(c + 4, Context.DataClass);
    MemStream::pokeU32(c + 8, Context.SampleRate);
    putStamp(c + 16, Context.Start);
    putStamp(c + 24, Context.Trigger);
    MemStream::pokeF32(c + 32, Context.Nennspannung);
    MemStream::pokeF32(c + 36, Context.WandlerVerh);
    MemStream::pokeF32(c + 40, Context.WandlerKorr);
    MemStream::pokeF32(c + 44, Context.Nennfrequenz);
    MemStream::pokeF32(c + 48, Context.Nennstrom);
    MemStream::pokeU16(p + 660, Tz.signHours);
    MemStream::pokeU16(p + 662, Tz.minutes);
    MemStream::pokeU32(p + 664, EntrySize);
    MemStream::pokeU32(p + 668, Count1);
    MemStream::pokeU32(p + 672, Count2);
}

void TDataFileHead::EncodeColumn(uint8_t* p, const TTblStrc& c) {
    std::memset(p, 0, ColumnSize);
    MemStream::pokeU32(p, c.ObjId);
    putText(p + 4, c.UnitTxt, 12);
    p[16] = c.ValGrp;
    p[17] = c.PaintStruc;
    MemStream::pokeU32(p + 20, c.Offset);
    MemStream::pokeU32(p + 24, c.Size);
    MemStream::pokeU32(p + 28, c.VecIdx);
}

void TDataFileHead::DecodeColumn(const uint8_t* p, TTblStrc& c) {
    c.ObjId = MemStream::peekU32(p);
    c.UnitTxt = fixedText(p + 4, 12);
    c.ValGrp = p[16];
    c.PaintStruc = p[17];
    c.Offset = MemStream::peekU32(p + 20);
    c.Size = MemStream::peekU32(p + 24);
    c.VecIdx = MemStream::peekU32(p + 28);
}

bool TDataFileHead::CheckColumn(const TTblStrc& c, uint32_t recordSize, std::string& reason) {
    bool sizeOk = false;
    switch (c.PaintStruc) {
    case psStamp:
        sizeOk = c.Size == 8;
        break;
    case psSingle:
    case psTick:
        sizeOk = c.Size == 4;
        break;
    case psFloat:
        sizeOk = c.Size == 4 || c.Size == 8;
        break;
    case psExtrem:
        sizeOk = c.Size == 12;
        break;
    default:
        reason = "unbekannte Speicherart " + std::to_string(c.PaintStruc);
        return false;
    }
    if (!sizeOk) {
        reason = "Größe " + std::to_string(c.Size) + " passt nicht zur Speicherart " +
                 std::to_string(c.PaintStruc);
        return false;
    }
    if (uint64_t(c.Offset) + c.Size > recordSize) {
        reason = "Spalte ab Byte " + std::to_string(c.Offset) + " reicht über den Datensatz von " +
                 std::to_string(recordSize) + " Bytes hinaus";
        return false;
    }
    return true;
}

std::vector<uint8_t> EncodeDataFileHead(TDataFileHead head, const std::vector<TTblStrc>& columns,
                                        const std::vector<TVecIdxStruct>& groups,
                                        const std::vector<uint32_t>& dataPoints) {
    if (head.Kind == TFileKind::Recording) {
        head.Count1 = uint32_t(columns.size());
        head.Count2 = uint32_t(groups.size());
        head.HeadLen = uint32_t(TDataFileHead::FixedSize + columns.size() * TDataFileHead::ColumnSize +
                                groups.size() * TDataFileHead::GroupSize);
    } else if (head.Kind == TFileKind::BinaryInputs) {
        head.Count1 = uint32_t(std::min(dataPoints.size(), TDataFileHead::MaxInputs));
        head.Count2 = 0;
        head.HeadLen = uint32_t(TDataFileHead::FixedSize + 4 * TDataFileHead::MaxInputs);
    } else {
        head.Count1 = head.Count2 = 0;
        head.HeadLen = TDataFileHead::FixedSize;
    }
    std::vector<uint8_t> out(head.HeadLen, 0);
    head.Encode(out.data());
    uint8_t* p = out.data() + TDataFileHead::FixedSize;
    if (head.Kind == TFileKind::Recording) {
        for (const TTblStrc& c : columns) {
            TDataFileHead::EncodeColumn(p, c);
            p += TDataFileHead::ColumnSize;
        }
        for (const TVecIdxStruct& g : groups) {
            MemStream::pokeU32(p, g.Idx);
            MemStream::pokeU32(p + 4, g.GrpId);
            p += TDataFileHead::GroupSize;
        }
    } else if (head.Kind == TFileKind::BinaryInputs) {
        for (size_t i = 0; i < head.Count1; ++i)
            MemStream::pokeU32(p + 4 * i, dataPoints[i]);
    }
    return out;
}

} // namespace ferro
