// View > 3D View Size > Custom...: asks for the 3D view's size in device pixels, the size of
// the framebuffer a recording grabs and so of the movie. A size outside the limits is refused
// with a message that names them, and the dialog stays open for a correction.
#ifndef CKXVIEWSIZEDIALOG_H
#define CKXVIEWSIZEDIALOG_H

#include <QDialog>
#include <QSize>

class QSpinBox;

class CKXViewSizeDialog : public QDialog
{
    Q_OBJECT
public:
    // Limits of a fixed 3D view size, device pixels, inclusive. The largest is 8K UHD: a view
    // that size holds about 130 MB of colour and 130 MB of depth buffer, and every open
    // sequence's view takes the size.
    static QSize minimumPixels() { return QSize(16, 16); }
    static QSize maximumPixels() { return QSize(7680, 4320); }

    // True when size lies within the limits; otherwise false with the reason in strMessage.
    static bool isAcceptable(const QSize& size, QString& strMessage);

    // initial: the size the fields start with (an invalid size gives 1920x1080).
    explicit CKXViewSizeDialog(const QSize& initial, QWidget* pParent = nullptr);

    // The size entered; valid once the dialog was accepted.
    QSize pixelSize() const;
    QSpinBox* widthBox() const { return m_pWidth; }
    QSpinBox* heightBox() const { return m_pHeight; }

public slots:
    // Closes the dialog only for an acceptable size; otherwise tells why and stays open.
    void accept() override;

private:
    QSpinBox* m_pWidth;
    QSpinBox* m_pHeight;
};

#endif // CKXVIEWSIZEDIALOG_H
