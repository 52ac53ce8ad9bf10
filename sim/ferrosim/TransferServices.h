#pragma once
// The file side of the instrument: setup read/write (Cmd 3), scratchpad (Cmd 7) and readout (Cmd 5).

#include "ferrosim/Answer.h"
#include "link/CccHead.h"

#include <cstdint>
#include <vector>

namespace ferro::sim {

class Instrument;

class TransferServices {
public:
    explicit TransferServices(Instrument& instrument) : instrument_(instrument) {}

    // `frame` is the whole request, head included.
    Answer setup(const ccc_head_t& head, const std::vector<uint8_t>& frame);
    Answer scratchpad(const ccc_head_t& head, const std::vector<uint8_t>& frame);
    Answer readout(const ccc_head_t& head, const std::vector<uint8_t>& frame);

    // Payloads of one readout frame: a broken line then leaves whole frames at the client.
    static constexpr size_t CReadoutChunk = 64 * 1024;

private:
    Answer setupRead(const ccc_head_t& head, const std::string& file, uint32_t pos);
    Answer setupWrite(const ccc_head_t& head, const std::vector<uint8_t>& frame);
    Answer readFile(const std::string& dir, const std::vector<uint8_t>& frame, size_t chunk);
    Answer removeFile(const std::string& dir, const std::vector<uint8_t>& frame);
    Answer removeAll(const std::string& dir);

    Instrument& instrument_;
};

} // namespace ferro::sim
