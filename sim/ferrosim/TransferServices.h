#pragma once
// The file side of the instrument: setup read/write (Cmd 3), scratchpad (Cmd 7) and readout (Cmd 5).

#include "ferrosim/Answer.h"
#include "link/CccHead.h"

#include <cstdint>
#include <optional>
#include <string>
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

private:
    Answer setupRead(const ccc_head_t& head, const std::string& file, uint32_t pos);
    Answer setupWrite(const ccc_head_t& head, const std::vector<uint8_t>& frame);
    Answer applySetup(const ccc_head_t& head, std::vector<uint8_t> payload);
    // A file from `Pos` to its end, in one frame: the client treats every frame as a whole file.
    // With `viaFtp` the reply is the file's FTP path instead.
    Answer readFile(const std::string& dir, const std::vector<uint8_t>& frame, bool viaFtp);
    // Content made for this request (listing, packed setup, screen) for an FTP fetch: stored under
    // `name` in the staging folder, answered with its FTP path.
    Answer staged(const std::string& name, const std::vector<uint8_t>& content);
    Answer removeFile(const std::string& dir, const std::vector<uint8_t>& frame);
    // The existing file a name frame names below `dir`; a refusal when there is none.
    struct NamedFile {
        std::string name, path;
        uint32_t pos = 0;
    };
    std::optional<Answer> namedFile(const std::string& dir, const std::vector<uint8_t>& frame,
                                    NamedFile& out) const;
    Answer removeAll(const std::string& dir);

    Instrument& instrument_;
};

} // namespace ferro::sim
