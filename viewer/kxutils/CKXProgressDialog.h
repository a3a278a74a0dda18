// The long-process window: a message, a progress bar and an Abort button. It is not modal, so
// the view keeps repainting and a tool's own Stop button stays usable while a process runs.
#ifndef CKXPROGRESSDIALOG_H
#define CKXPROGRESSDIALOG_H

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;

class CKXProgressDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CKXProgressDialog(QWidget* pParent = nullptr);

    void setMessage(const QString& strMessage);
    QString message() const;
    // nSteps 0 shows a busy bar without a count; nStep 1..nSteps.
    void setSteps(int nSteps);
    void setStep(int nStep);
    // After an abort the button is disabled and strAbortMessage replaces the message.
    void showAborting(const QString& strAbortMessage);

signals:
    void signalAbortClicked();

protected:
    void closeEvent(QCloseEvent* pEvent) override;
    void reject() override;

private:
    QLabel* m_pMessageLabel;
    QProgressBar* m_pProgressBar;
    QPushButton* m_pAbortButton;
};

#endif // CKXPROGRESSDIALOG_H
