#include "CKXProcess.h"

#include "CKXProgressDisplay.h"
#include "CKXSLog.h"

namespace
{
void logMessage(const QString& strMessage, bool bLog)
{
    if (bLog)
    {
        getLogObject()->log(strMessage, QStringLiteral("Process"), 0, QString(), 2, false);
    }
}
} // namespace

void CKXProcess::startLongProcess(int nSteps, int nType, bool bShowSteps,
                                  const QString& strAbortMessage)
{
    CKXProgressDisplay::instance()->start(nSteps, nType, bShowSteps, strAbortMessage);
}

void CKXProcess::setProcessMessage(const QString& strMessage, bool bLog)
{
    logMessage(strMessage, bLog);
    CKXProgressDisplay::instance()->setMessage(strMessage, -1);
}

void CKXProcess::setProcessMessage(const QString& strMessage, int nStep, bool bLog)
{
    logMessage(strMessage, bLog);
    CKXProgressDisplay::instance()->setMessage(strMessage, nStep);
}

bool CKXProcess::isProcessAborted()
{
    return CKXProgressDisplay::instance()->isAborted();
}

void CKXProcess::endLongProcess(int nType)
{
    CKXProgressDisplay::instance()->end(nType);
}

void CKXProcess::disableUserInteraction(bool bDisable)
{
    CKXProgressDisplay::instance()->setInputBlocked(bDisable);
}
