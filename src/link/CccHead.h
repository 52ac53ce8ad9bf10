#pragma once
// The 20-byte CCCI head, the flag word, and every frame form the client builds.

#include "foundation/MemStream.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

constexpr size_t CHeadSize = 20;
constexpr uint16_t CExtStop = 0xFFFF;

// Flag bits of FTPNAK.
constexpr uint16_t CFlagFTP = 1;
constexpr uint16_t CFlagNAK = 2;
constexpr uint16_t CFlagGZ = 4;
constexpr uint16_t CFlagTGZ = 8;

struct ccc_head_t {
    uint8_t Cmd = 0;
    uint8_t Priv = 0;
    uint16_t ExtCmd = 0;
    uint16_t Ver = 0;
    uint16_t FTPNAK = 0;
    uint32_t SN = 0;
    uint32_t Size = 0;
    uint32_t SeqCnt = 0;

    static ccc_head_t decode(const uint8_t* p);
    void encode(uint8_t* p) const;
};

uint16_t GenHeaderFTPNAK(bool FFTP, bool FGZ, bool FTGZ);
// True only with bit 1 set and the whole word below 16.
bool CheckNAK(uint16_t Flags);

// Frame builders: each sets Size and returns the frame at position 0.
namespace frames {
constexpr size_t CStartSize = 160;
constexpr size_t CNameFrameSize = 88;
constexpr size_t CNameWidth = 64;
constexpr size_t CScratchHeadSize = 148;
constexpr size_t CScratchNameWidth = 128;
constexpr size_t CNtpPacketSize = 48;

MemStream Plain(ccc_head_t h);
MemStream WithId(ccc_head_t h, uint32_t id);
MemStream WithName(ccc_head_t h, const std::string& name, uint32_t pos);
MemStream Lua(ccc_head_t h, const std::string& text);
MemStream File(ccc_head_t h, const std::vector<uint8_t>& file);
MemStream ScratchFile(ccc_head_t h, const std::string& target, const std::vector<uint8_t>& file);
MemStream Start(ccc_head_t h, uint32_t method, const std::string& user, const std::string& password);
MemStream NtpReply(ccc_head_t h, const uint8_t* packet48);
// A frame with an arbitrary payload (the instrument's replies; tests and the simulator use it).
MemStream WithPayload(ccc_head_t h, const void* payload, size_t len);
// Refusal: NAK bit set, 32-bit code at 20, 8-bit text to the end.
MemStream Refusal(ccc_head_t request, uint32_t code, const std::string& text);
} // namespace frames

} // namespace ferro
