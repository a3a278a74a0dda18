#include "CKXToolPluginBase.h"

CKXToolPluginBase::CKXToolPluginBase(QObject* pParent) : QObject(pParent), m_pAction(nullptr)
{
}

CKXToolPluginBase::~CKXToolPluginBase() = default;
