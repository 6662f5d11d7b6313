#include "items/midi_events.h"

#include <algorithm>

namespace velor {

namespace {

std::uint8_t sevenBits(Byte value) {
    return std::min<Byte>(value, 127);
}

// Data bytes behind a status byte of 0x80-0xF6 or 0xF8-0xFE.
std::size_t dataBytes(std::uint8_t status) {
    switch (status & 0xF0) {
        case 0xC0:
        case 0xD0:
            return 1;
        case 0xF0:
            return status == 0xF2 ? 2 : status == 0xF1 || status == 0xF3 ? 1 : 0;
        default:
            return 2;
    }
}

}  // namespace

std::uint32_t MidiEvent::tempo() const {
    if (!isMeta(midi::kMetaTempo) || data.size() < 3)
        return 0;
    return std::uint32_t{data[0]} << 16 | std::uint32_t{data[1]} << 8 | data[2];
}

bool MidiEventReader::quantity(std::size_t& position, std::uint32_t& value) const {
    value = 0;
    for (int count = 0; count < 4; ++count) {
        if (position >= bytes_.size())
            return false;
        const Byte byte = bytes_[position++];
        value = value << 7 | (byte & 0x7Fu);
        if (!(byte & 0x80))
            break;
    }
    return true;
}

bool MidiEventReader::next(MidiEvent& event) {
    if (ended_)
        return false;
    ended_ = true;  // until a whole event has been found
    std::size_t at = position_;
    std::uint32_t delta = 0;
    if (!quantity(at, delta))
        return false;
    if (running_ == 0) {
        while (at < bytes_.size() && bytes_[at] < 0x80)
            ++at;
    }
    if (at >= bytes_.size())
        return false;

    MidiEvent found;
    found.tick = tick_ + delta;
    found.status = bytes_[at] < 0x80 ? running_ : bytes_[at++];
    if (found.status == midi::kSysEx || found.status == midi::kEscape || found.status == midi::kMeta) {
        if (found.status == midi::kMeta) {
            if (at >= bytes_.size())
                return false;
            found.metaType = bytes_[at++];
        }
        std::uint32_t length = 0;
        if (!quantity(at, length) || length > bytes_.size() - at)
            return false;
        found.data = bytes_.subspan(at, length);
        at += length;
    } else {
        const std::size_t length = dataBytes(found.status);
        if (length > bytes_.size() - at)
            return false;
        if (length > 0)
            found.data1 = sevenBits(bytes_[at]);
        if (length > 1)
            found.data2 = sevenBits(bytes_[at + 1]);
        at += length;
        if (found.isChannel())
            running_ = found.status;
    }
    event = found;
    tick_ = found.tick;
    position_ = at;
    ended_ = found.isEndOfTrack();
    return true;
}

MidiCounts countMidiEvents(std::span<const Byte> events) {
    MidiCounts counts;
    MidiEventReader reader(events);
    MidiEvent event;
    while (reader.next(event)) {
        ++counts.events;
        counts.channelEvents += event.isChannel();
        counts.notes += event.isNoteOn();
        counts.ticks = event.tick;
        counts.endOfTrack = event.isEndOfTrack();
    }
    counts.bytes = reader.position();
    return counts;
}

void MidiEventWriter::quantity(std::uint32_t value) {
    for (int shift = 21; shift > 0; shift -= 7) {
        if (value >> shift)
            to_.push_back(static_cast<Byte>((value >> shift & 0x7F) | 0x80));
    }
    to_.push_back(static_cast<Byte>(value & 0x7F));
}

void MidiEventWriter::block(std::span<const Byte> data) {
    quantity(static_cast<std::uint32_t>(data.size()));
    to_.insert(to_.end(), data.begin(), data.end());
}

void MidiEventWriter::delta(std::uint64_t tick) {
    std::uint64_t pause = tick > tick_ ? tick - tick_ : 0;
    tick_ += pause;
    for (; pause > midi::kMostDelta; pause -= midi::kMostDelta) {
        quantity(midi::kMostDelta);
        to_.insert(to_.end(), {midi::kMeta, midi::kMetaText, 0});
        running_ = 0;
        ++count_;
    }
    quantity(static_cast<std::uint32_t>(pause));
    ++count_;
}

void MidiEventWriter::addMeta(std::uint64_t tick, std::uint8_t type, std::span<const Byte> data) {
    delta(tick);
    running_ = 0;
    to_.insert(to_.end(), {midi::kMeta, type});
    block(data.first(std::min<std::size_t>(data.size(), midi::kMostDelta)));
}

void MidiEventWriter::add(const MidiEvent& event) {
    if (event.status == midi::kMeta)
        return addMeta(event.tick, event.metaType, event.data);
    delta(event.tick);
    if (event.isChannel()) {
        if (event.status != running_)
            to_.push_back(event.status);
        running_ = event.status;
        to_.push_back(event.data1);
        if (dataBytes(event.status) == 2)
            to_.push_back(event.data2);
        return;
    }
    running_ = 0;
    if (event.status == midi::kSysEx || event.status == midi::kEscape) {
        to_.push_back(event.status);
        block(event.data.first(std::min<std::size_t>(event.data.size(), midi::kMostDelta)));
        return;
    }
    const Byte message[] = {event.status, event.data1, event.data2};
    to_.push_back(midi::kEscape);
    block(std::span(message).first(1 + dataBytes(event.status)));
}

}  // namespace velor
