#pragma once
// The serial form of the link: the instrument on a serial or USB line.

#include "link/ComUnit.h"

#include <memory>

namespace ferro {

class TIdReadThreadRS;

class TRSComUnit : public TComUnit {
    Q_OBJECT
public:
    TRSComUnit();
    ~TRSComUnit() override;

    void SetComPort(const std::string& Port) { FRSPort = Port; }
    std::string LineName() const override { return FRSPort; }
    const std::string& ComPort() const { return FRSPort; }

    void CreateThread(bool IsSSH) override;
    void CloseConnection(bool Value) override;
    void WorkEvent(TWorkMode Mode, uint64_t Count, TWorkStatus Status) override;
    void ReadData(MemStream& Stream) override;
    bool SendCommandStream(MemStream& Stream, bool IsLua) override;
    void ReConnect() override;
    bool IsConnected() const override;
    void DoConnect() override;
    void DoDisconnect(bool Value) override;
    void DropHalfFrame() override;
    void OnError(const std::string& Message);
    std::string ConnectError() const override { return FConnectError; }

private:
    std::string FConnectError;
    std::unique_ptr<TIdReadThreadRS> FReadThread;
    std::string FRSPort;
};

} // namespace ferro
