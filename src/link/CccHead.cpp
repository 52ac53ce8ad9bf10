#include "link/CccHead.h"

namespace ferro {

ccc_head_t ccc_head_t::decode(const uint8_t* p) {
    ccc_head_t h;
    h.Cmd = p[0];
    h.Priv = p[1];
    h.ExtCmd = MemStream::peekU16(p + 2);
    h.Ver = MemStream::peekU16(p + 4);
    h.FTPNAK = MemStream::peekU16(p + 6);
    h.SN = MemStream::peekU32(p + 8);
    h.Size = MemStream::peekU32(p + 12);
    h.SeqCnt = MemStream::peekU32(p + 16);
    return h;
}

void ccc_head_t::encode(uint8_t* p) const {
    p[0] = Cmd;
    p[1] = Priv;
    MemStream::pokeU16(p + 2, ExtCmd);
    MemStream::pokeU16(p + 4, Ver);
    MemStream::pokeU16(p + 6, FTPNAK);
    MemStream::pokeU32(p + 8, SN);
    MemStream::pokeU32(p + 12, Size);
    MemStream::pokeU32(p + 16, SeqCnt);
}

uint16_t GenHeaderFTPNAK(bool FFTP, bool FGZ, bool FTGZ) {
    return uint16_t((FFTP ? CFlagFTP : 0) + 2 * 0 + (FGZ ? CFlagGZ : 0) + (FTGZ ? CFlagTGZ : 0));
}

bool CheckNAK(uint16_t Flags) {
    return (Flags & CFlagNAK) != 0 && Flags < 16;
}

namespace frames {

namespace {
MemStream begin(ccc_head_t& h, size_t total) {
    h.Size = uint32_t(total);
    MemStream s;
    s.reserve(total);
    s.resize(CHeadSize);
    h.encode(s.data());
    s.setPosition(CHeadSize);
    return s;
}
MemStream finish(MemStream s) {
    s.setPosition(0);
    return s;
}
} // namespace

MemStream Plain(ccc_head_t h) {
    return finish(begin(h, CHeadSize));
}

MemStream WithId(ccc_head_t h, uint32_t id) {
    MemStream s = begin(h, CHeadSize + 4);
    s.writeU32(id);
    return finish(std::move(s));
}

MemStream WithName(ccc_head_t h, const std::string& name, uint32_t pos) {
    MemStream s = begin(h, CNameFrameSize);
    s.writeFixedText(name, CNameWidth);
    s.writeU32(pos);
    return finish(std::move(s));
}

MemStream Lua(ccc_head_t h, const std::string& text) {
    MemStream s = begin(h, CHeadSize + text.size() + 2);
    s.write(text.data(), text.size());
    s.write("\r\n", 2);
    return finish(std::move(s));
}

MemStream File(ccc_head_t h, const std::vector<uint8_t>& file) {
    MemStream s = begin(h, CHeadSize + file.size());
    s.write(file.data(), file.size());
    return finish(std::move(s));
}

MemStream ScratchFile(ccc_head_t h, const std::string& target, const std::vector<uint8_t>& file) {
    MemStream s = begin(h, CScratchHeadSize + file.size());
    s.writeFixedText(target, CScratchNameWidth);
    s.write(file.data(), file.size());
    return finish(std::move(s));
}

MemStream Start(ccc_head_t h, uint32_t method, const std::string& user, const std::string& password) {
    MemStream s = begin(h, CStartSize);
    s.writeU32(method);
    // Account texts go along only for the password methods.
    bool withAccount = method == 0 || method == 1;
    s.writeFixedText(withAccount ? user : std::string(), 64);
    s.writeFixedText(withAccount ? password : std::string(), 72);
    return finish(std::move(s));
}

MemStream NtpReply(ccc_head_t h, const uint8_t* packet48) {
    MemStream s = begin(h, CHeadSize + CNtpPacketSize);
    s.write(packet48, CNtpPacketSize);
    return finish(std::move(s));
}

MemStream WithPayload(ccc_head_t h, const void* payload, size_t len) {
    MemStream s = begin(h, CHeadSize + len);
    s.write(payload, len);
    return finish(std::move(s));
}

MemStream Refusal(ccc_head_t request, uint32_t code, const std::string& text) {
    request.FTPNAK = uint16_t(request.FTPNAK | CFlagNAK);
    MemStream s = begin(request, CHeadSize + 4 + text.size());
    s.writeU32(code);
    s.write(text.data(), text.size());
    return finish(std::move(s));
}

} // namespace frames
} // namespace ferro
