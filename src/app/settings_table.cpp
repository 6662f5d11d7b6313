// Every setting there is. Rows of one group stand together; groups and rows are shown in this order.
#include <array>

#include "app/settings.h"

namespace velor {

namespace {

using enum SettingType;

constexpr std::array kRows{
    SettingRow{"VersionNumber", Text, 0, "0.0", "version of the program that last wrote the settings"},

    SettingRow{"app.LastFilesA", Chars, 1024, "", "recently used files, the latest first", true},
    SettingRow{"app.LastPathsA", Chars, 1024, "", "recently used folders, the latest first", true},
    SettingRow{"app.aiLastExp", Integers, 20, "0,0,0,0,0", "format-table rows last chosen for saving"},
    SettingRow{"app.ptLastPos", Point, 8, "0,0", "position of the main window"},
    SettingRow{"app.ptLastSize", Point, 8, "0,0", "size of the main window"},
    SettingRow{"app.iPaneSplitL", Signed, 4, "221", "width of the left pane"},
    SettingRow{"app.awColWidths", Words, 10, "160,62,50,40,40", "column widths of the waveform list"},
    SettingRow{"app.bCheckForUpdates", Bool, 1, "0xFF", "look for a newer version at start"},
    SettingRow{"app.bDispBankPrgs", Bool, 1, "1", "show bank and program numbers in the tree"},
    SettingRow{"app.bDispLoBank", Bool, 1, "0", "show the low byte of the bank too"},
    SettingRow{"app.bAutoSelWaveforms", Bool, 1, "1", "select the waveforms of what is selected in the tree"},
    SettingRow{"app.bAutoSelCollItems", Bool, 1, "0",
               "select the tree items that use the selected waveforms"},
    SettingRow{"app.bPropagateDownDelta", Bool, 1, "0",
               "pass the change of a parameter on to the items below"},
    SettingRow{"app.bPersistentState", Bool, 1, "0", "keep the session at exit and bring it back at start"},
    SettingRow{"app.bShowNoteNames", Bool, 1, "1", "show keys as note names, not as numbers"},
    SettingRow{"app.cOctMidC", Number8, 1, "4", "octave number of middle C (MIDI note 60) in note names"},
    SettingRow{"app.wszWave", WideText, 260, "", "program that edits waveforms"},
    SettingRow{"app.wszMidi", WideText, 260, "", "program that edits MIDI songs"},
    SettingRow{"app.wszKeyb", WideText, 260, "", "program that shows a keyboard"},
    SettingRow{"app.szVSTPaths", Text, 0, "", "folders searched for plug-ins", true},

    SettingRow{"load.bConfirm", Bool, 1, "0", "ask before items are deleted"},
    SettingRow{"load.bAutoSplitStereo", Bool, 1, "0", "split stereo waveforms into two mono ones"},
    SettingRow{"load.bAutoMergeStereo", Bool, 1, "1",
               "join mono waveforms that are the two sides of a stereo sound"},
    SettingRow{"load.bAutoCompactLayers", Bool, 1, "1", "merge layers of an instrument that fit into one"},
    SettingRow{"load.bAutoRemoveDupWaves", Bool, 1, "1", "remove waveforms that are there twice"},
    SettingRow{"load.bAutoMoveArticulation", Bool, 1, "0",
               "move articulation that items share to the item above"},
    SettingRow{"load.bAutoMoveTriggerParams", Bool, 1, "1", "move trigger parameters to where they belong"},
    SettingRow{"load.bAutoAppend32", Bool, 1, "0", "append 32 frames to looped waveforms"},
    SettingRow{"load.bAutoBid2Fwd", Bool, 1, "0", "turn alternating loops into forward ones"},
    SettingRow{"load.bAutoSortColl", Bool, 1, "1", "sort the tree"},
    SettingRow{"load.bAutoSortWaves", Bool, 1, "1", "sort the list of waveforms"},
    SettingRow{"load.bEnsureUniqueNames", Bool, 1, "1", "make names of instruments and of waveforms unique"},

    SettingRow{"aio.szAudioOutDev", Text, 64, "Windows default", "audio output device"},
    SettingRow{"aio.bAudioOutExclusive", Bool, 1, "0", "take the audio output for this program alone"},
    SettingRow{"aio.cAudioOutFormat", Number8, 1, "16", "bits of an output sample; 255 for 32-bit float"},
    SettingRow{"aio.cAudioOutChannels", Number8, 1, "2", "output channels"},
    SettingRow{"aio.szAudioOutSampleRate", Unsigned, 4, "48000", "output sample rate in Hz"},
    SettingRow{"aio.szAudioInDev", Text, 64, "Windows default", "audio input device"},
    SettingRow{"aio.bAudioInExclusive", Bool, 1, "0", "take the audio input for this program alone"},
    SettingRow{"aio.cAudioInFormat", Number8, 1, "16", "bits of an input sample; 255 for 32-bit float"},
    SettingRow{"aio.cAudioInChannels", Number8, 1, "2", "input channels"},
    SettingRow{"aio.bAudioInAGC", Bool, 1, "1", "automatic gain on the audio input"},
    SettingRow{"aio.bAudioInMono", Bool, 1, "0", "record in mono"},
    SettingRow{"aio.szAudioInSampleRate", Unsigned, 4, "48000", "input sample rate in Hz"},
    SettingRow{"aio.szMidiInDev", Text, 32, "<none>",
               "MIDI input device; when there is no such one, the first"},
    SettingRow{"aio.nLatency", Signed, 4, "-1", "latency of the audio devices; -1: automatic"},
    SettingRow{"aio.fdbMixGain", Float, 4, "0", "gain of the mixed output in dB"},
    SettingRow{"aio.bEnable", Bool, 1, "0", "MIDI input and playing on"},
    SettingRow{"aio.bVKeyboard", Bool, 1, "1", "play notes with the computer keyboard"},
    SettingRow{"aio.bPlayWaveOnClick", Bool, 1, "1", "play a waveform when it is clicked"},
    SettingRow{"aio.bPlayCollOnClick", Bool, 1, "0", "play an item of the tree when it is clicked"},
    SettingRow{"aio.acVKlo", Chars, 38, "ZSXDCVGBHNJM,L.", "keys of the lower octaves, by rising semitone"},
    SettingRow{"aio.acVKhi", Chars, 38, "Q2W3ER5T6Y7UI9O0P", "keys of the upper octaves, by rising semitone"},

    SettingRow{"viz.bWaveDispFill", Bool, 1, "1", "draw waveforms filled"},
    SettingRow{"viz.bWaveDispSplit", Bool, 1, "0", "draw the channels of a waveform apart"},
    SettingRow{"viz.bTrackInEditor", Bool, 1, "1", "follow the playing position in the editor"},
    SettingRow{"viz.bSpectrum", Bool, 1, "0", "show the spectrum of what plays"},
    SettingRow{"viz.bChannels", Bool, 1, "0", "show the channels of what plays"},

    SettingRow{"sds.szOutDev", Text, 32, "", "MIDI output device of sample dumps"},
    SettingRow{"sds.szInDev", Text, 32, "", "MIDI input device of sample dumps"},
    SettingRow{"sds.iChannel", Signed, 4, "0", "channel of sample dumps"},
    SettingRow{"sds.iBaseSample", Signed, 4, "0", "number of the first sample sent"},
    SettingRow{"sds.iSCSIDev", Signed, 4, "0", "SCSI device of sample dumps"},
    SettingRow{"sds.iOutBits", Signed, 4, "16", "bits of a sample sent"},

    SettingRow{"rawio.iCDDev", Signed, 4, "0", "CD drive"},
    SettingRow{"rawio.iFDDev", Signed, 4, "0", "floppy drive"},
    SettingRow{"rawio.bReplaceColl", Bool, 1, "1", "what a disk holds replaces the collection"},

    SettingRow{"sall.iMode", Signed, 4, "213", "how all items are saved in multiple files"},
    SettingRow{"sall.bSubDirs", Bool, 1, "0", "save all in multiple files makes folders"},

    SettingRow{"sy2wt.dwSampleRate", Unsigned, 4, "48000", "sample rate in Hz of rendered synthesis models"},
    SettingRow{"sy2wt.dwmsMaxLength", Unsigned, 4, "2000",
               "greatest length of a rendered synthesis model in ms"},
    SettingRow{"sy2wt.dwmsMinLength", Unsigned, 4, "250", "least length of a rendered synthesis model in ms"},
    SettingRow{"sy2wt.iNumWaves", Signed, 4, "1", "waveforms rendered of a synthesis model"},

    SettingRow{"mid2wav.dwSampleRate", Unsigned, 4, "48000", "sample rate in Hz of rendered songs"},
    SettingRow{"mid2wav.bEffects", Bool, 1, "1", "render songs with reverb and chorus"},
    SettingRow{"mid2wav.bDeleteSrc", Bool, 1, "0", "delete a song once it is rendered"},
    SettingRow{"mid2wav.bNormalizePeak", Bool, 1, "1", "bring the peak of a rendered song to full scale"},
    SettingRow{"mid2wav.bDeleteSilence", Bool, 1, "1", "remove silence from a rendered song"},
    SettingRow{"mid2wav.wszGMBank", WideText, 260, "",
               "bank for instruments a song lacks; empty: the system's"},
    SettingRow{"mid2wav.iMaxPolyphony", Signed, 4, "128", "most notes that a rendered song sounds at once"},

    SettingRow{"fmt.mp3.bWriteID3", Bool, 1, "1", "MP3: write an ID3 tag"},
    SettingRow{"fmt.mp3.bWriteAPE", Bool, 1, "0", "MP3: write an APE tag"},
    SettingRow{"fmt.mp3.bWriteJS", Bool, 1, "1", "MP3: joint stereo"},
    SettingRow{"fmt.mp2.bWriteID3", Bool, 1, "0", "MPEG layer II: write an ID3 tag"},
    SettingRow{"fmt.mp2.bWriteJS", Bool, 1, "1", "MPEG layer II: joint stereo"},
    SettingRow{"fmt.aac.bWriteID3", Bool, 1, "0", "AAC: write an ID3 tag"},
    SettingRow{"fmt.aac.bWriteAPE", Bool, 1, "0", "AAC: write an APE tag"},
    SettingRow{"fmt.aac.bWriteMS", Bool, 1, "1", "AAC: mid/side stereo"},
    SettingRow{"fmt.vox.dwDataFormat", Unsigned, 4, "0x8002000", "VOX: number of the data format written"},
    SettingRow{"fmt.sd2.dwSampleRate", Unsigned, 4, "44100", "SD2 data: sample rate in Hz"},
    SettingRow{"fmt.sd2.iChannels", Signed, 4, "2", "SD2 data: channels"},
    SettingRow{"fmt.sd2.iBits", Signed, 4, "16", "SD2 data: bits of a sample"},
};

}  // namespace

std::span<const SettingRow> settingRows() {
    return kRows;
}

}  // namespace velor
