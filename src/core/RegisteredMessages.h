#pragma once
// The registered window messages.
//
// Every name is registered once at start, in the listed order, and the id handed out is
// kept in an application-wide variable of the same name. Ids run from 0xC000 upward in
// registration order; registering a name again returns the id it already has.

#include <string>

namespace RegMsgSDR {
extern unsigned nMsgAddTag;
extern unsigned nMsgDemodFFTDemod;
extern unsigned nMsgDemodFFTOutput;
extern unsigned nMsgDemodFileOpen;
extern unsigned nMsgDemodFilePosn;
extern unsigned nMsgDemodFilter;
extern unsigned nMsgDemodOptions;
extern unsigned nMsgFFTBuff;
extern unsigned nMsgFFTData;
extern unsigned nMsgFFTFinal;
extern unsigned nMsgFFTInUse;
extern unsigned nMsgFFTOutput;
extern unsigned nMsgFileOpen;
extern unsigned nMsgFileRead;
extern unsigned nMsgNewDemodOptions;
extern unsigned nMsgNewTags;
extern unsigned nMsgPlayerErase;
extern unsigned nMsgQueueSize;
extern unsigned nMsgRecordingStatus;
extern unsigned nMsgScroll;
extern unsigned nMsgScrollFreq;
extern unsigned nMsgSendLogfile;
extern unsigned nMsgSetFilter;
extern unsigned nMsgStop;
extern unsigned nMsgThreadStatus;
extern unsigned nMsgVolume;
}  // namespace RegMsgSDR

namespace DigitalMain {
extern unsigned nMsgDecodeFreq;
extern unsigned nMsgDrawSignal;
extern unsigned nMsgFeedback1;
extern unsigned nMsgFeedback1_0;
extern unsigned nMsgFeedback1_1;
extern unsigned nMsgFeedback1_2;
extern unsigned nMsgFeedback1_3;
extern unsigned nMsgHighQuality;
extern unsigned nMsgMousePosn;
extern unsigned nMsgScopeRedraw;
extern unsigned nMsgScrolVFO;
extern unsigned nMsgSetDecodeFreq;
extern unsigned nMsgWndSelect;
}  // namespace DigitalMain

// Registers the 39 messages (once; later calls do nothing). Call before any thread starts.
void RegisterAllMessages();

// The process-wide registry: the same name always gives the same id.
unsigned RegisterWindowMessage(const std::string& name);
// The name registered under id, or empty.
std::string RegisteredMessageName(unsigned id);
