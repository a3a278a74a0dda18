// Loaded data sets and their sequences. A sequence is one acquisition shown in its own sequence
// window; its identifier is unique and stable while it is open.
#ifndef CKXSDATASET_H
#define CKXSDATASET_H

#include <QString>

class CKXSDataset
{
public:
    explicit CKXSDataset(const QString& name);
    virtual ~CKXSDataset();
    QString getDatasetName() const;

private:
    QString m_strName;
};

class CKXSSequenceDataset
{
public:
    CKXSSequenceDataset(const QString& id, const QString& name);
    virtual ~CKXSSequenceDataset();
    QString getSequenceID() const;
    QString getSequenceName() const;

private:
    QString m_strID;
    QString m_strName;
};

#endif // CKXSDATASET_H
