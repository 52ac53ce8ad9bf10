#pragma once
// The instrument's identity, clock settings, users and limits, as read from profile.json in the root.

#include "ferrosim/SupplyConfig.h"
#include "foundation/TimeRecords.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ferro::sim {

struct SimUser {
    std::string name;
    std::string password;
    std::vector<std::string> rights;
    bool has(const std::string& right) const;
};

struct Profile {
    uint32_t serial = 0;
    uint32_t article = 2400512;
    uint32_t productionDate = 0;
    uint32_t firmware = 0;
    std::string plant;
    std::string bay;
    std::string device;
    time_set_t timeSet;
    std::vector<SimUser> users;
    // Every right the instrument knows; user.authorized() answers each of them.
    std::vector<std::string> allRights;
    uint16_t protocolVersion = 5;
    int connectionLimit = 2;
    // Milliseconds between the device's NTP requests while the tunnel is open.
    int ntpRequestMs = 1000;
    // A calibration fault word ('Frequency fluctuation' ...) that the calibration steps answer with.
    std::string calibrationFault;
    // Without a card the status reports "N/A" for it.
    bool sdCard = true;
    // The supply the instrument measures ("supply" object).
    SupplyConfig supply;

    // Loads the JSON file; fields that are missing keep their defaults. False with `error` on a
    // document that does not parse.
    bool load(const std::string& path, std::string& error);
    const SimUser* findUser(const std::string& name) const;
    // The account a plain TCP session reports back (the first user).
    const SimUser* sessionUser() const;
};

// "2.2.1.5" packs into one byte per part; a plain number is a build revision.
uint32_t ParseFirmwareWord(const std::string& text);

// A firmware word of layout generation `gen` (0 to 2): `current` when it already is one, else a
// representative release of that generation (1.9.4.0, 2.1.3.0 with binary inputs, 2.2.1.5).
uint32_t FirmwareOfGeneration(int gen, uint32_t current);

} // namespace ferro::sim
