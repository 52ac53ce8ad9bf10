#pragma once
// Faults injected on demand (--faults), so that clients can be tested against a misbehaving device.
//
//   refuse:CMD:EXT:CODE:TEXT  refuse that request with CODE and TEXT (EXT may be *)
//   drop:CMD:EXT              swallow that request: no reply at all
//   delay:MS                  hold every reply back by MS milliseconds
//   cut:BYTES                 close the connection after BYTES payload bytes of a file transfer
//   drip:MS                   file transfers: the head at once, then one payload byte every MS ms
//   garbage                   send garbage bytes right after the session reply
//   badsize                   send a head announcing an absurd Size right after the session reply
//   strayhead:CMD             once per connection, after the first reply to a CMD request, send a
//                             plausible head (1 MiB announced) and nothing of its frame
//   limit:N                   allow N simultaneous connections instead of the profile's limit
//   cutup:BYTES               close the connection once BYTES of a scratchpad upload have arrived
//   flipup                    every scratchpad upload is stored with one byte changed
//   reboot-hang               a reboot (after a firmware update) never ends: the port stays closed

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

class FaultPlan {
public:
    struct Refusal {
        uint8_t cmd = 0;
        int ext = -1; // -1: any sub-command
        uint32_t code = 0;
        std::string text;
    };

    // Parses a comma separated list; false with `error` naming the bad item.
    bool parse(const std::string& list, std::string& error);

    const Refusal* refusalFor(uint8_t cmd, uint16_t ext) const;
    bool drops(uint8_t cmd, uint16_t ext) const;
    int delayMs() const { return delayMs_; }
    int64_t cutBytes() const { return cutBytes_; }
    int dripMs() const { return dripMs_; }
    bool garbage() const { return garbage_; }
    bool badSize() const { return badSize_; }
    // The command group after whose first reply a stray head follows; -1: none.
    int strayHeadAfter() const { return strayHead_; }
    int connectionLimit() const { return limit_; }
    int64_t cutUploadBytes() const { return cutUpload_; }
    bool rebootHangs() const { return rebootHang_; }
    bool flipUpload() const { return flipUpload_; }
    // A calibration fault ("freq", "fluct", "range", "busy") is on.
    bool calFault(const std::string& name) const {
        return std::find(calFaults_.begin(), calFaults_.end(), name) != calFaults_.end();
    }

private:
    struct Match {
        uint8_t cmd;
        int ext;
    };
    std::vector<Refusal> refusals_;
    std::vector<Match> drops_;
    int delayMs_ = 0;
    int64_t cutBytes_ = -1;
    int dripMs_ = 0;
    bool garbage_ = false;
    bool badSize_ = false;
    int strayHead_ = -1;
    int limit_ = -1;
    int64_t cutUpload_ = -1;
    bool rebootHang_ = false;
    bool flipUpload_ = false;
    std::vector<std::string> calFaults_;
};

} // namespace ferro::sim
