// The open sequence windows, by the sequence they show. A window is in the registry from its
// construction until it starts to close, so a sequence that is being removed is no longer
// found. GUI thread only.
#ifndef CKXSEQUENCEREGISTRY_H
#define CKXSEQUENCEREGISTRY_H

#include <QList>

class CKXSSequenceDataset;
class CKXSSequenceWindow;

class CKXSequenceRegistry
{
public:
    // Neither pointer is owned. A sequence registered again moves to the new window.
    static void add(const CKXSSequenceDataset* pSequence, CKXSSequenceWindow* pWindow);
    // Removes every entry of that window; unknown windows are ignored.
    static void remove(const CKXSSequenceWindow* pWindow);
    // The window of that sequence, or null.
    static CKXSSequenceWindow* find(const CKXSSequenceDataset* pSequence);
    // Registered windows in the order they were added.
    static QList<CKXSSequenceWindow*> windows();
};

#endif // CKXSEQUENCEREGISTRY_H
