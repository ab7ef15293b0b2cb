#pragma once
// CBackgroundThreadBase: the queue thread of the analysis workers (file reader, forwarder,
// FFT workers), over the analysis's packets (CBkgPacket).

#include "core/BkgPacket.h"
#include "core/QueueThread.h"

class CBackgroundThreadBase : public CQueueThread<CBkgPacket> {
 protected:
  // The PKT_STATUS echo: posts RegMsgSDR::nMsgThreadStatus with the packet's two
  // parameters to its reply window. Queued behind other work, it arrives after that work.
  static void EchoStatus(const CBkgPacket& packet);
};
