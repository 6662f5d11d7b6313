// Probes of the containers that hold other codecs' data: the MP4 family, Matroska, ASF, MPEG program streams.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// ISO 14496-12 files and their QuickTime forebears. The variant's second byte says which member of the family
// is asked for; any member's files are likely for every other, so that the extension decides among them.
Probe mp4;
// The variants: container in the second byte, the codec that is written in the first (1 PCM, 4 AAC, 8 AMR).
inline constexpr std::uint32_t kMp43gpp = 0x1408;
inline constexpr std::uint32_t kMp43gpp2 = 0x1808;
inline constexpr std::uint32_t kMp4Base = 0x2104;
inline constexpr std::uint32_t kMp4Itunes = 0x2204;
inline constexpr std::uint32_t kMp4Ringtone = 0x2404;
inline constexpr std::uint32_t kMp4QuickTime = 0x4101;

Probe matroskaAudio;  // no video track in sight
Probe matroskaVideo;
Probe asf;  // likely only: the audio and the video rows are surer
Probe windowsMediaAudio;
Probe windowsMediaVideo;
Probe mpegSystem;  // ISO 11172-1 and 13818-1 program streams

}  // namespace velor::probe
