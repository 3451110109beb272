#include "report/html/html_gallery.h"

#include <cctype>

#include "app/base/output_format.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/html/html_page.h"

namespace kavrel::report {
namespace {

// Pictures are loaded from the page's own folder; browsers call that a file's or the server's.
constexpr const char* kImages = " 'self' file:";

// Bytes that mean something in an address, or are no ASCII, as %XX.
std::string as_address(const std::string& path) {
  constexpr const char* kHex = "0123456789ABCDEF";
  std::string address;
  for (const char byte : path) {
    const auto code = static_cast<unsigned char>(byte);
    const bool plain = code < 0x80 && (std::isalnum(code) != 0 || byte == '/' || byte == '.' ||
                                       byte == '-' || byte == '_');
    if (plain) {
      address += byte;
    } else {
      address += {'%', kHex[code >> 4U], kHex[code & 15U]};
    }
  }
  return address;
}

View plate_view(const RecordedRun& run, const Assessment& assessment, std::size_t index,
                const std::string& to_run) {
  const FrameResult& frame = run.frames[index];
  const PlateJudgement& plate = assessment.frame_judgements[index];
  const auto& cause = assessment.frame_causes[index];
  View view;
  view.set("name", printable(case_name(frame)));
  view.set("group_id", printable(frame.group_id));
  view.set("class", std::string(style_class(plate.outcome)));
  view.set("outcome", std::string(cause ? entry_of(*cause).name : name_of(plate.outcome)));
  view.set("folder", as_address(to_run + std::string(output::kCases) + "/" + case_name(frame)));
  view.set("has_picture", run.overwritten.count(index) == 0);
  view.set("picture", std::string(output::picture::kRectifiedPlate));
  view.set("read", read_line(plate, frame.fields));
  view.set("expected", text_or_false(printable(frame.expected)));
  return view;
}

}  // namespace

std::string render_gallery(const RecordedRun& run, const Assessment& assessment,
                           const std::string& to_run) {
  Template plate_template(resources::kGalleryPlate);
  std::string plates;
  for (std::size_t i = 0; i < run.frames.size(); ++i) {
    plates += plate_template.render(plate_view(run, assessment, i, to_run));
  }
  View view;
  view.set("dir", printable(run.dir));
  view.set("has_notices", !run.notices.empty());
  view.set("notices", list_of_texts(run.notices));
  view.set("total", std::to_string(run.frames.size()));
  view.set("correct", std::to_string(assessment.frames.plates.correct));
  view.set("plates", plates);
  view.set("version", std::string(resources::kVersion));
  return render_page("kavrel: all plates", Template(resources::kGallery).render(view), kImages);
}

}  // namespace kavrel::report
