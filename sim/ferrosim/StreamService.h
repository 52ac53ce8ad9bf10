#pragma once
// Live streams (Cmd 4) of one session: START gives a handle, each GET_NXT one object measured on the
// simulated supply, STOP releases the handle. Each stream keeps its own clock, which moves on by the
// object's interval with every block.

#include "ferrosim/Answer.h"
#include "ferrosim/EnergyCounter.h"
#include "link/CccHead.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace ferro::sim {

class Instrument;

class StreamService {
public:
    explicit StreamService(Instrument& instrument);
    ~StreamService();

    // `frame` is the whole request; the id (START) or handle (GET_NXT, STOP) is the word at 20.
    Answer handle(const ccc_head_t& head, const std::vector<uint8_t>& frame);

    // Streams one session may hold at once.
    static constexpr size_t CMaxStreams = 8;
    // Reply ExtCmd of a data block.
    static constexpr uint16_t CExtBlock = 3;
    static constexpr uint32_t CBinaryInputs = 4;

private:
    struct Stream {
        uint32_t objId = 0;
        int dataObj = -1;
        uint64_t clockNs = 0;    // stamp of the next block
        uint64_t intervalNs = 0; // the object's interval
        uint32_t blocks = 0;
        std::unique_ptr<EnergyCounter> energy;
    };

    Answer start(uint32_t objId);
    Answer next(uint32_t handle);
    Answer stop(uint32_t handle);
    std::vector<uint8_t> block(Stream& s);
    std::vector<uint8_t> binaryBlock(Stream& s);

    Instrument& instrument_;
    std::map<uint32_t, Stream> streams_;
    uint32_t nextHandle_ = 0x4D00;
};

} // namespace ferro::sim
