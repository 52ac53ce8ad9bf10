#pragma once
// A serial or USB line of the operating system, opened raw: open, configure, purge, read, write.

#include "foundation/MemStream.h"

#include <functional>
#include <string>

namespace ferro {

class TRS232Unit {
public:
    using TErrorCallback = std::function<void(const std::string& ErrorMessage)>;
    static constexpr size_t CBufferSize = 40960;

    TRS232Unit() = default;
    ~TRS232Unit();
    TRS232Unit(const TRS232Unit&) = delete;
    TRS232Unit& operator=(const TRS232Unit&) = delete;

    // The device path (a COM port number on the original platform).
    void SetPort(const std::string& Port) { FPort = Port; }
    const std::string& Port() const { return FPort; }
    // Opens raw, 9600 8N1 (nominal on USB), DTR and RTS on. False with LastError on failure.
    bool OpenPort();
    // The handle is valid and the line has not hung up.
    bool CheckConnection() const;
    // Drops what waits in both directions.
    void ClearBuffer();
    void Disconnect(std::string& ErrorText);
    // Writes in blocks of 40960 bytes; `Written` tells how far it got.
    bool WriteData(const MemStream& Stream, size_t& Written);
    // Reads what is there, waiting at most `timeoutMs` for the first byte; -1 on a failure.
    long Read(uint8_t* buffer, size_t size, int timeoutMs);
    int Handle() const { return FComPortHdl; }
    const std::string& LastError() const { return lastError_; }

    TErrorCallback FError;

private:
    int FComPortHdl = -1;
    std::string FPort;
    std::string lastError_;
};

} // namespace ferro
