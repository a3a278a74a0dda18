#include "CKXProgressDialog.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

CKXProgressDialog::CKXProgressDialog(QWidget* pParent)
    : QDialog(pParent, Qt::Tool | Qt::CustomizeWindowHint | Qt::WindowTitleHint),
      m_pMessageLabel(new QLabel(this)), m_pProgressBar(new QProgressBar(this)),
      m_pAbortButton(new QPushButton(tr("Abort"), this))
{
    setObjectName(QStringLiteral("KXProgressDialog"));
    setWindowModality(Qt::NonModal);
    m_pMessageLabel->setObjectName(QStringLiteral("progressMessage"));
    m_pMessageLabel->setMinimumWidth(320);
    m_pMessageLabel->setWordWrap(true);
    m_pProgressBar->setObjectName(QStringLiteral("progressBar"));
    m_pAbortButton->setObjectName(QStringLiteral("abortButton"));
    m_pAbortButton->setAutoDefault(false);

    QHBoxLayout* pButtons = new QHBoxLayout;
    pButtons->addStretch(1);
    pButtons->addWidget(m_pAbortButton);
    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pMessageLabel);
    pLayout->addWidget(m_pProgressBar);
    pLayout->addLayout(pButtons);

    connect(m_pAbortButton, &QPushButton::clicked, this, &CKXProgressDialog::signalAbortClicked);
}

void CKXProgressDialog::setMessage(const QString& strMessage)
{
    m_pMessageLabel->setText(strMessage);
}

QString CKXProgressDialog::message() const
{
    return m_pMessageLabel->text();
}

void CKXProgressDialog::setSteps(int nSteps)
{
    // A range of 0..0 is Qt's busy indicator.
    m_pProgressBar->setRange(0, nSteps > 0 ? nSteps : 0);
    m_pProgressBar->setValue(0);
}

void CKXProgressDialog::setStep(int nStep)
{
    if (m_pProgressBar->maximum() > 0)
    {
        m_pProgressBar->setValue(qBound(0, nStep, m_pProgressBar->maximum()));
    }
}

void CKXProgressDialog::showAborting(const QString& strAbortMessage)
{
    m_pAbortButton->setEnabled(false);
    if (!strAbortMessage.isEmpty())
    {
        m_pMessageLabel->setText(strAbortMessage);
    }
}

void CKXProgressDialog::closeEvent(QCloseEvent* pEvent)
{
    // The process owns the window's lifetime; closing it by hand means Abort when offered.
    pEvent->ignore();
    if (m_pAbortButton->isVisible() && m_pAbortButton->isEnabled())
    {
        emit signalAbortClicked();
    }
}

void CKXProgressDialog::reject()
{
    // Escape: same as closing the window.
    if (m_pAbortButton->isVisible() && m_pAbortButton->isEnabled())
    {
        emit signalAbortClicked();
    }
}
