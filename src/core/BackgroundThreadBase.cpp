#include "core/BackgroundThreadBase.h"

#include "core/RegisteredMessages.h"

void CBackgroundThreadBase::EchoStatus(const CBkgPacket& packet) {
  if (packet.m_pReplyWnd)
    packet.m_pReplyWnd->Post(RegMsgSDR::nMsgThreadStatus, packet.m_nParam1, packet.m_nParam2);
}
