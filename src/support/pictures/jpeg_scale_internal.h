#pragma once

#include "support/pictures/jpeg_scale.h"
#include "support/pictures/loading.h"

namespace tessaron {

class PictureSource;

/// Decodes a JPEG picture in its full size and best quality. False, with `picture` unchanged, when
/// that fails.
bool loadJpeg(PictureSource& source, fipImage& picture);
/// Sets `measures` to those of that picture, from the header alone. False, with `measures`
/// unchanged, when the header is damaged or declares too much.
bool measureWholeJpeg(PictureSource& source, PictureMeasures& measures);

/// Sets `measures`, from the header alone, to those of the picture that `jpegScaleDirect` would
/// decode, and returns what it would return. `measures` is unchanged when that is 0.
int measureJpeg(File& file, PictureMeasures& measures, int maxWidth, int maxHeight);

}  // namespace tessaron
