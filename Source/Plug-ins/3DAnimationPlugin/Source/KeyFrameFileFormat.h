// Names shared by the key frame file (".vkf") writer and reader.
//
// A key frame file is an XML document whose root holds one element per key frame, all values
// as attributes. The current generation (written and read) has the document type
// "KX42.KeyFrameAnimation.Data"; the older one (read only) "KX3D.KeyFrameAnimation.Data".
#ifndef KEYFRAMEFILEFORMAT_H
#define KEYFRAMEFILEFORMAT_H

namespace KXKeyFrameFile
{

inline constexpr char DOCTYPE_CURRENT[] = "KX42.KeyFrameAnimation.Data";
inline constexpr char DOCTYPE_OLDER[] = "KX3D.KeyFrameAnimation.Data";
inline constexpr char ROOT_ELEMENT[] = "KeyFrameAnimation";
inline constexpr char KEY_FRAME_ELEMENT[] = "KeyFrame";
// The first line of every written file; the document's own declaration is never used.
inline constexpr char XML_HEADER[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
// Older files carry one source; it is kept under the name of the original source.
inline constexpr char OLDER_SOURCE_NAME[] = "Original";
inline constexpr char FILE_EXTENSION[] = "vkf";

} // namespace KXKeyFrameFile

#endif // KEYFRAMEFILEFORMAT_H
