// When a process is offered.
#pragma once

#include "app/processing/process.h"

namespace velor::availability {

bool always(const ProcessContext& context);
bool selection(const ProcessContext& context);      // some frames are selected
bool looped(const ProcessContext& context);         // a listed waveform is looped
bool single(const ProcessContext& context);         // exactly one item, a waveform with frames
bool anyMono(const ProcessContext& context);        // a listed waveform has one channel
bool anyStereo(const ProcessContext& context);      // a listed waveform has two channels
bool anyCollection(const ProcessContext& context);  // a collection is listed
bool collectionOrInstrument(const ProcessContext& context);
bool layerLevel(const ProcessContext& context);      // a layer, an instrument or a collection is listed
bool songs(const ProcessContext& context);           // a song is listed
bool songsOrTracks(const ProcessContext& context);   // a song or a track is listed
bool playsWaveforms(const ProcessContext& context);  // some region below what is listed plays a waveform
bool playsStereoWaveforms(const ProcessContext& context);  // … one of two channels
bool drumKits(const ProcessContext& context);              // a drum kit is listed, or in a listed collection
bool songsAndInstruments(const ProcessContext& context);   // the collection holds both

}  // namespace velor::availability
