#include "CKXSequenceRegistry.h"

#include <QPair>

namespace
{
// Few windows are ever open: a list keeps the opening order for windows().
QList<QPair<const CKXSSequenceDataset*, CKXSSequenceWindow*>>& entries()
{
    static QList<QPair<const CKXSSequenceDataset*, CKXSSequenceWindow*>> s_list;
    return s_list;
}
} // namespace

void CKXSequenceRegistry::add(const CKXSSequenceDataset* pSequence, CKXSSequenceWindow* pWindow)
{
    if (!pSequence || !pWindow)
    {
        return;
    }
    auto& list = entries();
    for (int i = list.size() - 1; i >= 0; --i)
    {
        if (list.at(i).first == pSequence)
        {
            list.removeAt(i);
        }
    }
    list.append(qMakePair(pSequence, pWindow));
}

void CKXSequenceRegistry::remove(const CKXSSequenceWindow* pWindow)
{
    auto& list = entries();
    for (int i = list.size() - 1; i >= 0; --i)
    {
        if (list.at(i).second == pWindow)
        {
            list.removeAt(i);
        }
    }
}

CKXSSequenceWindow* CKXSequenceRegistry::find(const CKXSSequenceDataset* pSequence)
{
    if (!pSequence)
    {
        return nullptr;
    }
    for (const auto& entry : entries())
    {
        if (entry.first == pSequence)
        {
            return entry.second;
        }
    }
    return nullptr;
}

QList<CKXSSequenceWindow*> CKXSequenceRegistry::windows()
{
    QList<CKXSSequenceWindow*> list;
    for (const auto& entry : entries())
    {
        list.append(entry.second);
    }
    return list;
}
