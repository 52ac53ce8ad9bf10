#pragma once
// What a service gives back for one request; the session turns it into frames.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

// Refusal codes of the simulated firmware.
enum RefusalCode : uint32_t {
    CodeUnknownCommand = 1,
    CodeNotFound = 2,
    CodeBadName = 3,
    CodeBadFrame = 4,
    CodeWriteFailed = 5,
    CodeNoAccess = 13,
    CodeBadContent = 22,
    CodeTooMany = 120,
    CodeVersion = 134,
    CodeStream = 200,
};

struct Answer {
    bool refused = false;
    uint32_t code = 0;
    std::string text;
    std::vector<uint8_t> payload;
    // File contents: the cut fault applies, and `chunk` bytes at most travel per frame (0: one frame).
    bool isFile = false;
    size_t chunk = 0;

    static Answer Refuse(uint32_t code, std::string text) {
        Answer a;
        a.refused = true;
        a.code = code;
        a.text = std::move(text);
        return a;
    }
    static Answer Ack() { return Answer(); }
    static Answer Data(std::vector<uint8_t> bytes) {
        Answer a;
        a.payload = std::move(bytes);
        return a;
    }
    static Answer File(std::vector<uint8_t> bytes, size_t chunk) {
        Answer a;
        a.payload = std::move(bytes);
        a.isFile = true;
        a.chunk = chunk;
        return a;
    }
};

} // namespace ferro::sim
