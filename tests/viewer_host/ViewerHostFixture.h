// A real main window with the two sample sequences, and the test plug-ins loaded on request.
#ifndef VIEWERHOSTFIXTURE_H
#define VIEWERHOSTFIXTURE_H

#include "CKXAppState.h"
#include "CKXMainWindow.h"
#include "CKXPluginManager.h"
#include "CKXSDataset.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "KXAutomation.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

// Readable strings in test failures.
inline void PrintTo(const QString& str, std::ostream* pStream)
{
    *pStream << '"' << str.toStdString() << '"';
}

class CViewerHostTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CKXAutomation::reset();
        CKXAppState::setCanClose(true);
        m_pMain = std::make_unique<CKXMainWindow>();
        m_pMain->resize(1280, 800);
        m_pMain->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(m_pMain.get()));
        m_pMain->openDefaultSequences();
        settle();
        ASSERT_EQ(m_pMain->sequenceWindows().size(), 2);
    }

    void TearDown() override
    {
        CKXAppState::setCanClose(true);
        m_pManager.reset();
        m_pMain.reset();
        settle();
    }

    static void settle()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // Loads the plug-ins folder of the tests; the tool plug-in is the only one that loads.
    CKXToolPluginBase* loadTestPlugins()
    {
        m_pManager = std::make_unique<CKXPluginManager>(m_pMain.get());
        m_pManager->loadPlugins(QStringLiteral(KX_TEST_PLUGIN_DIR));
        return m_pManager->plugins().value(0);
    }

    static QStringList events(QObject* pPlugin)
    {
        QStringList list;
        QMetaObject::invokeMethod(pPlugin, "events", Qt::DirectConnection,
                                  Q_RETURN_ARG(QStringList, list));
        return list;
    }

    static void clearEvents(QObject* pPlugin)
    {
        QMetaObject::invokeMethod(pPlugin, "clearEvents", Qt::DirectConnection);
    }

    CKXSequenceWindowImpl* window(int nIndex) const
    {
        return m_pMain->sequenceWindows().value(nIndex);
    }

    static QString id(const CKXSequenceWindowImpl* pWindow)
    {
        return pWindow->getSequenceDataset()->getSequenceID();
    }

    std::unique_ptr<CKXMainWindow> m_pMain;
    std::unique_ptr<CKXPluginManager> m_pManager;
};

#endif // VIEWERHOSTFIXTURE_H
