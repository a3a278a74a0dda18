#include "CKXSDataset.h"

CKXSDataset::CKXSDataset(const QString& name) : m_strName(name)
{
}

CKXSDataset::~CKXSDataset() = default;

QString CKXSDataset::getDatasetName() const
{
    return m_strName;
}

CKXSSequenceDataset::CKXSSequenceDataset(const QString& id, const QString& name)
    : m_strID(id), m_strName(name)
{
}

CKXSSequenceDataset::~CKXSSequenceDataset() = default;

QString CKXSSequenceDataset::getSequenceID() const
{
    return m_strID;
}

QString CKXSSequenceDataset::getSequenceName() const
{
    return m_strName;
}
