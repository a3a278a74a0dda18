#include "CKXHeadlessJobOptions.h"

#include <QCommandLineParser>
#include <QFileInfo>

namespace
{

// A whole number within nMin..nMax, or false.
bool readNumber(const QString& strText, int nMin, int nMax, int& nValue)
{
    bool bOk = false;
    nValue = strText.trimmed().toInt(&bOk);
    return bOk && nValue >= nMin && nValue <= nMax;
}

} // namespace

CKXHeadlessJobOptions::CKXHeadlessJobOptions()
    : m_optSequence(QStringLiteral("sequence"),
                    QStringLiteral("Job: work on sequence window <n> (1 = the first)."),
                    QStringLiteral("n")),
      m_optPreset(QStringLiteral("preset"),
                  QStringLiteral("Job: add the key frames of the 3D Animation preset <text>, "
                                 "for example \"Spin CCW on Y-Axis\"; repeatable, run in order."),
                  QStringLiteral("text")),
      m_optLoad(QStringLiteral("load"),
                QStringLiteral("Job: load the key frame file <file.vkf> (replaces the list)."),
                QStringLiteral("file")),
      m_optDuration(QStringLiteral("duration"),
                    QStringLiteral("Job: animation duration in whole seconds."),
                    QStringLiteral("seconds")),
      m_optFrameFactor(QStringLiteral("frame-factor"),
                       QStringLiteral("Job: frame factor (key frames per quarter turn of a spin)."),
                       QStringLiteral("n")),
      m_optPlay(QStringLiteral("play"), QStringLiteral("Job: play the animation in the 3D view.")),
      m_optRecord(QStringLiteral("record"),
                  QStringLiteral("Job: record the animation into the movie <file> (.mp4, .mov "
                                 "or .mpg); --size sets the 3D view's size in pixels."),
                  QStringLiteral("file")),
      m_optSave(QStringLiteral("save"),
                QStringLiteral("Job: save the key frame list as <file.vkf>."),
                QStringLiteral("file"))
{
}

void CKXHeadlessJobOptions::declare(QCommandLineParser& parser) const
{
    parser.addOptions({m_optSequence, m_optPreset, m_optLoad, m_optDuration, m_optFrameFactor,
                       m_optPlay, m_optRecord, m_optSave});
}

bool CKXHeadlessJobOptions::read(const QCommandLineParser& parser, QString& strError)
{
    if (parser.isSet(m_optSequence) &&
        !readNumber(parser.value(m_optSequence), 1, 1000, m_nSequence))
    {
        strError = QStringLiteral("--sequence wants a window number from 1, not \"%1\".")
                       .arg(parser.value(m_optSequence));
        return false;
    }
    m_listPresets = parser.values(m_optPreset);
    for (const QString& strPreset : qAsConst(m_listPresets))
    {
        if (strPreset.trimmed().isEmpty())
        {
            strError = QStringLiteral("--preset needs the text of a preset entry.");
            return false;
        }
    }
    if (parser.isSet(m_optDuration) &&
        !readNumber(parser.value(m_optDuration), 1, 100000, m_nDuration))
    {
        strError = QStringLiteral("--duration wants whole seconds, not \"%1\".")
                       .arg(parser.value(m_optDuration));
        return false;
    }
    if (parser.isSet(m_optFrameFactor) &&
        !readNumber(parser.value(m_optFrameFactor), 1, 100000, m_nFrameFactor))
    {
        strError = QStringLiteral("--frame-factor wants a whole number, not \"%1\".")
                       .arg(parser.value(m_optFrameFactor));
        return false;
    }
    m_bPlay = parser.isSet(m_optPlay);

    m_strLoad = parser.value(m_optLoad);
    m_strSave = parser.value(m_optSave);
    m_strRecord = parser.value(m_optRecord);
    if ((parser.isSet(m_optLoad) && m_strLoad.isEmpty()) ||
        (parser.isSet(m_optSave) && m_strSave.isEmpty()) ||
        (parser.isSet(m_optRecord) && m_strRecord.isEmpty()))
    {
        strError = QStringLiteral("--load, --save and --record need a file name.");
        return false;
    }
    // The dialog writes a movie only for these extensions and silently skips any other.
    const QString strMovieSuffix = QFileInfo(m_strRecord).suffix().toLower();
    if (!m_strRecord.isEmpty() && strMovieSuffix != QLatin1String("mp4") &&
        strMovieSuffix != QLatin1String("mov") && strMovieSuffix != QLatin1String("mpg"))
    {
        strError = QStringLiteral("--record wants a file ending in .mp4, .mov or .mpg, not \"%1\".")
                       .arg(m_strRecord);
        return false;
    }
    if (!m_strSave.isEmpty() && QFileInfo(m_strSave).suffix().isEmpty())
    {
        m_strSave += QStringLiteral(".vkf");
    }
    return true;
}

bool CKXHeadlessJobOptions::isRequested() const
{
    return m_nSequence > 0 || !m_listPresets.isEmpty() || !m_strLoad.isEmpty() || m_nDuration > 0 ||
           m_nFrameFactor > 0 || m_bPlay || !m_strRecord.isEmpty() || !m_strSave.isEmpty();
}
