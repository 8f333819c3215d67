#pragma once

#include "mediainfo/content_picture_internal.h"
#include "support/pictures/picture_source_internal.h"

namespace tessaron {

/// Reads the boxes of a HEIF or AVIF picture (ISO/IEC 23008-12): measures, depth, turn, Exif and
/// XMP of its primary item. Boxes that leave their parents end the reading.
void readHeif(PictureSource& source, PictureContent& picture);

/// Reads a JPEG XL picture, in boxes or bare: measures, depth, orientation, Exif and XMP. `picture`
/// has no measures when it is none.
void readJpegXl(PictureSource& source, PictureContent& picture);

/// Reads the image header of a JPEG 2000 picture, in boxes or bare.
void readJpeg2000(PictureSource& source, PictureContent& picture);

/// Reads the Exif data of a Canon CR3 picture.
void readCr3(PictureSource& source, PictureContent& picture);

}  // namespace tessaron
