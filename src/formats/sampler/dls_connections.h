// The connections of DLS level 1 and 2: what moves what, and by how much.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "formats/sampler/bank_articulation.h"

namespace velor {

struct DlsConnection {
    std::uint16_t source = 0;
    std::uint16_t control = 0;
    std::uint16_t destination = 0;
    std::uint16_t transform = 0;
    std::int32_t scale = 0;  // 16.16 of cents, centibels, timecents or tenths of a percent
    bool levelOne = false;   // from a level 1 list, whose transforms are counted differently

    bool sameEnds(const DlsConnection& other) const {
        return source == other.source && control == other.control && destination == other.destination;
    }
};

using DlsConnections = std::vector<DlsConnection>;

// Parses an "art1" or "art2" chunk and adds its connections. One of the same ends replaces the one before.
void addDlsConnections(std::span<const Byte> chunk, bool levelOne, DlsConnections& to);
void addDlsConnections(const DlsConnections& from, DlsConnections& to);
// What applies where a bank says nothing.
DlsConnections defaultDlsConnections();

// How well our parameters play a connection.
ModulationFit dlsConnectionFit(const DlsConnection& connection);

// The voice that the connections make.
void applyDlsConnections(const DlsConnections& connections, BankVoice& voice,
                         std::vector<BankModulation>& modulations);

}  // namespace velor
