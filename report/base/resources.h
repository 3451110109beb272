// Files that are part of the program; CMake makes the definitions from them.
#ifndef KAVREL_REPORT_BASE_RESOURCES_H
#define KAVREL_REPORT_BASE_RESOURCES_H

namespace kavrel::report::resources {

extern const char* const kVersion;
extern const char* const kRegionWords;  // dict/region_words.txt

// Mustache templates.
extern const char* const kPage;
extern const char* const kReport;
extern const char* const kCard;
extern const char* const kPlates;
extern const char* const kGroupRow;
extern const char* const kGallery;
extern const char* const kGalleryPlate;
extern const char* const kDiff;
extern const char* const kDiffCard;
extern const char* const kRun;
extern const char* const kSlices;
extern const char* const kTrend;

// The page's style and script, and their hashes as a Content-Security-Policy names them.
extern const char* const kStyle;
extern const char* const kScript;
extern const char* const kStyleHash;
extern const char* const kScriptHash;
// The page's texts in English and Japanese: [{"en": ..., "ja": ...}, ...].
extern const char* const kReportTexts;

// The page for labelling: its template, its texts, how region names are read, style and scripts.
extern const char* const kLabel;
extern const char* const kLabelTexts;
extern const char* const kRegionReadings;
extern const char* const kLabelStyle;
extern const char* const kLabelScript;
extern const char* const kLabelStyleHash;
extern const char* const kLabelScriptHash;
extern const char* const kRomajiScript;
extern const char* const kRomajiScriptHash;

}  // namespace kavrel::report::resources

#endif
