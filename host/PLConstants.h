// Host string constants that tool plug-ins read.
#ifndef PLCONSTANTS_H
#define PLCONSTANTS_H

#include <QString>

namespace PLConstants
{
// The application's product name; used in file type filters.
inline const QString DEFAULT_TAG_NAME = QStringLiteral("Tessaly");
// Scene-graph class name of the subject's surface mesh.
inline const QString _3DMESH = QStringLiteral("3DMesh");
// Scene-graph class name of the organ surfaces.
inline const QString _3DORGANS = QStringLiteral("Organ Surface");
} // namespace PLConstants

#endif // PLCONSTANTS_H
