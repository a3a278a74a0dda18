#include "KeyFrameList.h"

#include <climits>
#include <utility>
#include <vector>

namespace KeyFrameList
{

namespace
{
// Length of "Key Frame", the part of a row text before its number.
constexpr int KEY_FRAME_PREFIX_LENGTH = 9;
} // namespace

QString keyFrameName(int nNumber)
{
    return QStringLiteral("Key Frame %1").arg(nNumber);
}

int keyFrameNumber(const QString& strRowText)
{
    bool bOk = false;
    const int nNumber = strRowText.mid(KEY_FRAME_PREFIX_LENGTH).trimmed().toInt(&bOk, 10);
    return bOk ? nNumber : 0;
}

int nextKeyFrameNumber(const QStringList& rows)
{
    int nNext = rows.size() + 1;
    for (const QString& strRow : rows)
    {
        const int nNumber = keyFrameNumber(strRow);
        if (nNumber < INT_MAX && nNumber + 1 > nNext)
        {
            nNext = nNumber + 1;
        }
    }
    return nNext;
}

void adjustTimeStamps(const QStringList& rows, double dMaximum, KeyFrameMap& keyFrames)
{
    const int nRows = rows.size();
    const double dStep = nRows > 1 ? dMaximum / (nRows - 1) : 0.0;
    for (int i = 0; i < nRows; ++i)
    {
        double dStamp = dStep * i;
        // Rounding must never leave the last key frame short of the end of the time scale.
        if (i == nRows - 1 && dStamp != dMaximum)
        {
            dStamp = dMaximum;
        }
        keyFrames[rows.at(i)].timeStamp = dStamp;
    }
}

QStringList timeStampOrder(const QStringList& rows, const KeyFrameMap& keyFrames)
{
    std::vector<std::pair<double, QString>> entries;
    entries.reserve(rows.size());
    for (const QString& strRow : rows)
    {
        const auto it = keyFrames.constFind(strRow);
        entries.emplace_back(it == keyFrames.constEnd() ? 0.0 : it->timeStamp, strRow);
    }
    // A bubble sort on purpose: it only swaps when the earlier stamp is greater, so equal and
    // unordered (NaN) stamps stay where they are. Stopping after a pass without swaps keeps a
    // list that is already in order (the usual case) linear.
    for (size_t nLast = entries.size(); nLast > 1; --nLast)
    {
        bool bSwapped = false;
        for (size_t i = 1; i < nLast; ++i)
        {
            if (entries[i - 1].first > entries[i].first)
            {
                std::swap(entries[i - 1], entries[i]);
                bSwapped = true;
            }
        }
        if (!bSwapped)
        {
            break;
        }
    }
    QStringList order;
    order.reserve(static_cast<int>(entries.size()));
    for (const auto& entry : entries)
    {
        order.append(entry.second);
    }
    return order;
}

bool fitsBetweenNeighbours(const QStringList& rows, const KeyFrameMap& keyFrames, int nRow,
                           double dTimeStamp)
{
    const auto stampOf = [&](int nIndex) { return keyFrames.value(rows.at(nIndex)).timeStamp; };
    if (nRow > 0 && nRow - 1 < rows.size() && stampOf(nRow - 1) >= dTimeStamp)
    {
        return false;
    }
    if (nRow >= 0 && nRow < rows.size() - 1 && dTimeStamp >= stampOf(nRow + 1))
    {
        return false;
    }
    return true;
}

int addMissingSources(const tag_s3Dcontrols& from, tag_s3Dcontrols& into)
{
    int nAdded = 0;
    for (auto it = from.sourceControls.constBegin(); it != from.sourceControls.constEnd(); ++it)
    {
        if (!into.sourceControls.contains(it.key()))
        {
            into.sourceControls.insert(it.key(), it.value());
            ++nAdded;
        }
    }
    return nAdded;
}

QMap<QString, bool> capturedOrganVisibility(const QMap<QString, bool>& hostMap, bool bOrgansVisible)
{
    QMap<QString, bool> organs = hostMap;
    if (!bOrgansVisible)
    {
        for (auto it = organs.begin(); it != organs.end(); ++it)
        {
            it.value() = false;
        }
    }
    return organs;
}

} // namespace KeyFrameList
