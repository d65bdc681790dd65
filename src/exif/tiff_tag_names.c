/* Names of the tags of the two directories the reader follows. The spellings
 * ("Fnumber", "IsoSpeedRatings", "SubIfds", ...) are the reader's own and are
 * relied on by callers that print them; keep them as they are. */
#include "exif/tiff_parse.h"

typedef struct tiff_tag_name {
  uint16_t tag;
  const char *name;
} tiff_tag_name;

/* IFD0; 342 stands before 330 on purpose. Each table ends with id 0. */
static const tiff_tag_name kIfd0Names[] = {
    {254, "NewSubfileType"},
    {256, "ImageWidth"},
    {257, "ImageLength"},
    {258, "BitsPerSample"},
    {259, "Compression"},
    {262, "PhotometricInterpretation"},
    {266, "FillOrder"},
    {269, "DocumentName"},
    {270, "ImageDescription"},
    {271, "Make"},
    {272, "Model"},
    {273, "StripOffsets"},
    {274, "Orientation"},
    {277, "SamplesPerPixel"},
    {278, "RowsPerStrip"},
    {279, "StripByteCounts"},
    {282, "XResolution"},
    {283, "YResolution"},
    {284, "PlanarConfiguration"},
    {296, "ResolutionUnit"},
    {301, "TransferFunction"},
    {305, "Software"},
    {306, "DateTime"},
    {315, "Artist"},
    {318, "WhitePoint"},
    {319, "PrimaryChromaticities"},
    {342, "TransferRange"},
    {330, "SubIfds"},
    {512, "JpegProc"},
    {513, "JpegInterchangeFormat"},
    {514, "JpegInterchangeFormatLength"},
    {529, "YcbcrCoefficients"},
    {530, "YcbcrSubSampling"},
    {531, "YcbcrPositioning"},
    {532, "ReferenceBlackWhite"},
    {33432, "Copyright"},
    {34665, "ExifIfdPointer"},
    {34853, "GpsIfdPointer"},
    {0, "Null"},
};

/* The EXIF directory, with the interoperability tags, in rising order. */
static const tiff_tag_name kExifNames[] = {
    {1, "InteroperabilityIndex"},
    {2, "InteroperabilityVersion"},
    {700, "XmlPacket"},
    {4096, "RelatedImageFileFormat"},
    {4097, "RelatedImageWidth"},
    {4098, "RelatedImageLength"},
    {33421, "CfaRepeatPatternDim"},
    {33422, "CfaPattern"},
    {33423, "BatteryLevel"},
    {33434, "ExposureTime"},
    {33437, "Fnumber"},
    {33723, "IptcNaa"},
    {34377, "ImageResources"},
    {34675, "InterColorProfile"},
    {34850, "ExposureProgram"},
    {34852, "SpectralSensitivity"},
    {34855, "IsoSpeedRatings"},
    {34856, "Oecf"},
    {36864, "ExifVersion"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37121, "ComponentsConfiguration"},
    {37122, "CompressedBitsPerPixel"},
    {37377, "ShutterSpeedValue"},
    {37378, "ApertureValue"},
    {37379, "BrightnessValue"},
    {37380, "ExposureBiasValue"},
    {37381, "MaxApertureValue"},
    {37382, "SubjectDistance"},
    {37383, "MeteringMode"},
    {37384, "LightSource"},
    {37385, "Flash"},
    {37386, "FocalLength"},
    {37396, "SubjectArea"},
    {37398, "TiffEpStandardId"},
    {37500, "MakerNote"},
    {37510, "UserComment"},
    {37520, "SubSecTime"},
    {37521, "SubSecTimeOriginal"},
    {37522, "SubSecTimeDigitized"},
    {40960, "FlashPixVersion"},
    {40961, "ColorSpace"},
    {40962, "PixelXDimension"},
    {40963, "PixelYDimension"},
    {40964, "RelatedSoundFile"},
    {40965, "InteroperabilityIfdPointer"},
    {41483, "FlashEnergy"},
    {41484, "SpatialFrequencyResponse"},
    {41486, "FocalPlaneXResolution"},
    {41487, "FocalPlaneYResolution"},
    {41488, "FocalPlaneResolutionUnit"},
    {41492, "SubjectLocation"},
    {41493, "ExposureIndex"},
    {41495, "SensingMethod"},
    {41728, "FileSource"},
    {41729, "SceneType"},
    {41730, "NewCfaPattern"},
    {41985, "CustomRendered"},
    {41986, "ExposureMode"},
    {41987, "WhiteBalance"},
    {41988, "DigitalZoomRatio"},
    {41989, "FocalLengthIn35mmFilm"},
    {41990, "SceneCaptureType"},
    {41991, "GainControl"},
    {41992, "Contrast"},
    {41993, "Saturation"},
    {41994, "Sharpness"},
    {41995, "DeviceSettingDescription"},
    {41996, "SubjectDistanceRange"},
    {42016, "ImageUniqueId"},
    {0, "Null"},
};

/* Indexed by directory: 0 IFD0, 1 the EXIF directory. */
static const tiff_tag_name *const kTagNameTables[2] = {kIfd0Names, kExifNames};

const char *tiff_parse_get_tag_name(int32_t directory, uint16_t tag) {
  if (directory != 0 && directory != 1) return "";
  for (const tiff_tag_name *row = kTagNameTables[directory]; row->tag != 0; ++row) {
    if (row->tag == tag) return row->name;
  }
  return "";
}
