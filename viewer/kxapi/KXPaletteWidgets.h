// Small widget helpers shared by the parts of the 3D tools palette.
#ifndef KXPALETTEWIDGETS_H
#define KXPALETTEWIDGETS_H

#include <QColor>
#include <QStringList>

class QComboBox;
class QLayout;
class QPushButton;
class QSlider;
class QWidget;

namespace KXPaletteWidgets
{
// A 0..100 horizontal slider named strName.
QSlider* percentSlider(const QString& strName, QWidget* pParent);
// The slider with a label that follows its value ("75 %").
QLayout* withValueLabel(QSlider* pSlider);
QComboBox* combo(const QString& strName, const QStringList& listItems, QWidget* pParent);
// Render modes 0..3 and shading modes 0..3 of the 3D view.
QStringList renderModeNames();
QStringList shadeModeNames();
// A button that shows a colour swatch.
QPushButton* colorButton(const QString& strName, QWidget* pParent);
void setButtonColor(QPushButton* pButton, const QColor& color);
QColor buttonColor(const QPushButton* pButton);
// The index of the first set flag among four, or nFallback when none is set.
int firstSet(bool b0, bool b1, bool b2, bool b3, int nFallback);
} // namespace KXPaletteWidgets

#endif // KXPALETTEWIDGETS_H
