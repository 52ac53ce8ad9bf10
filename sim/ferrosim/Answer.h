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
    CodeUnknownObject = 200, // stream start for an object the instrument does not have
    CodeUnknownHandle = 201, // stream next or stop for a handle the session does not hold
    CodeTooManyStreams = 202,
};

struct Answer {
    bool refused = false;
    uint32_t code = 0;
    std::string text;
    std::vector<uint8_t> payload;
    // File contents, in one frame: the cut fault applies.
    bool isFile = false;
    // A file reply sent from a file on the instrument rather than from `payload`.
    std::string sourcePath;
    uint64_t sourceOffset = 0;
    // ExtCmd of the reply when it is not the request's (a stream data block answers GET_NXT with 3).
    int ext = -1;
    // Frames that follow the reply on their own (the first block of a stream after its handle).
    struct Follow {
        int ext = 0;
        std::vector<uint8_t> payload;
    };
    std::vector<Follow> follow;

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
    static Answer File(std::vector<uint8_t> bytes) {
        Answer a;
        a.payload = std::move(bytes);
        a.isFile = true;
        return a;
    }
    // `path` from `offset` to its end, read as it is sent.
    static Answer FileFrom(std::string path, uint64_t offset) {
        Answer a;
        a.isFile = true;
        a.sourcePath = std::move(path);
        a.sourceOffset = offset;
        return a;
    }
};

} // namespace ferro::sim
