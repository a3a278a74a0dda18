// Writes the built-in sample subject out as a scene: its meshes with the photon density field
// as PLY files, its volumes as NIfTI files and the scene file that puts them together. Users
// get a template for their own data, and opening it again must show the sample.
#ifndef KXSAMPLEEXPORT_H
#define KXSAMPLEEXPORT_H

#include <QString>

namespace KXSampleExport
{
// Creates strFolder when needed; strScene receives the scene file's path. Existing files of
// the same names are replaced. False with a message naming the file that could not be written.
bool exportScene(const QString& strFolder, QString& strScene, QString& strError);
} // namespace KXSampleExport

#endif // KXSAMPLEEXPORT_H
