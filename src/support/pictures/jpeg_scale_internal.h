#pragma once

#include "support/pictures/jpeg_scale.h"
#include "support/pictures/loading.h"

namespace tessaron {

class PictureSource;

/// Decodes a JPEG picture in its full size and as exactly as can be. False, with `picture`
/// untouched, as above.
bool loadJpeg(PictureSource& source, fipImage& picture);
/// Sets `measures` to those that it has then.
bool measureWholeJpeg(PictureSource& source, PictureMeasures& measures);

/// Tells, from the header alone, the measures of the picture that `jpegScaleDirect` would give, and
/// what it would return.
int measureJpeg(File& file, PictureMeasures& measures, int maxWidth, int maxHeight);

}  // namespace tessaron
