#include "report/html/html_page.h"

#include <functional>
#include <stdexcept>
#include <string_view>

#include "report/base/resources.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

// Stands in a reading for an expected character that is not there.
constexpr const char* kGap = "\u2007";  // a blank as wide as a digit

constexpr std::string_view kUnmarked;
constexpr std::string_view kExpectedMark = "hit";
constexpr std::string_view kReadMark = "miss";
constexpr std::string_view kGapMark = "gap";

View span(const std::u32string& text, std::string_view mark) {
  View view;
  std::string shown;
  if (mark == kGapMark) {
    for (std::size_t i = 0; i < text.size(); ++i) shown += kGap;
  } else {
    shown = printable(text);
  }
  view.set("text", shown);
  view.set("mark", mark.empty() ? View(false) : View(std::string(mark)));
  return view;
}

// Pieces of characters that are marked alike; of a pair without a mark there is no piece.
using MarkOfPair = std::optional<std::string_view> (*)(const AlignedPair& pair);

View spans_of(const std::vector<AlignedPair>& pairs, char32_t AlignedPair::*side,
              MarkOfPair mark_of) {
  View spans = make_list();
  std::u32string text;
  std::string_view mark;
  const auto end_piece = [&] {
    if (!text.empty()) spans.push_back(span(text, mark));
    text.clear();
  };
  for (const AlignedPair& pair : pairs) {
    const auto next = mark_of(pair);
    if (!next) continue;
    if (*next != mark) end_piece();
    mark = *next;
    text += pair.*side;
  }
  end_piece();
  return spans;
}

View expected_spans(const std::vector<AlignedPair>& pairs) {
  return spans_of(pairs, &AlignedPair::expected,
                  [](const AlignedPair& pair) -> std::optional<std::string_view> {
                    if (pair.expected == kNoCharacter) return std::nullopt;
                    return pair.expected == pair.read ? kUnmarked : kExpectedMark;
                  });
}

View read_spans(const std::vector<AlignedPair>& pairs) {
  return spans_of(pairs, &AlignedPair::read,
                  [](const AlignedPair& pair) -> std::optional<std::string_view> {
                    if (pair.read == kNoCharacter) return kGapMark;
                    return pair.expected == pair.read ? kUnmarked : kReadMark;
                  });
}

View field_view(const char* key, const View& spans) {
  View view;
  view.set("key", std::string(key));
  view.set("spans", spans);
  return view;
}

using SpansOfField = std::function<View(std::size_t)>;

// Region and class above kana and serial, as on a plate.
View rows_of_fields(const SpansOfField& spans) {
  View rows = make_list();
  for (const std::size_t first : {0U, 2U}) {
    View fields = make_list();
    for (std::size_t i = first; i < first + 2; ++i) {
      fields.push_back(field_view(kFields[i].key, spans(i)));
    }
    View row;
    row.set("fields", fields);
    rows.push_back(row);
  }
  return rows;
}

View row_of_text(const View& spans) {
  View fields = make_list();
  fields.push_back(field_view("all", spans));
  View row;
  row.set("fields", fields);
  View rows = make_list();
  rows.push_back(row);
  return rows;
}

View plain_spans(const std::string& text) {
  View spans = make_list();
  if (!text.empty()) spans.push_back(span(code_points(text), kUnmarked));
  return spans;
}

View plate_view(const std::string& label, const std::string& spoken, bool whole, const View& rows) {
  View view;
  view.set("label", label);
  view.set("spoken", spoken.empty() ? "nothing" : printable(spoken));
  view.set("whole", whole);
  view.set("rows", rows);
  return view;
}

View expected_plate(const PlateJudgement& plate) {
  if (plate.fields) {
    return plate_view("expected", plate.expected, false, rows_of_fields([&](std::size_t i) {
                        const FieldJudgement& field = (*plate.fields)[i];
                        return expected_spans(align(field.expected, field.read));
                      }));
  }
  return plate_view("expected", plate.expected, true,
                    row_of_text(expected_spans(align(plate.expected, plate.read))));
}

View read_plate(const PlateJudgement& plate, const PlateFields& read, const std::string& label) {
  if (plate.fields) {
    return plate_view(label, plate.read, false, rows_of_fields([&](std::size_t i) {
                        const FieldJudgement& field = (*plate.fields)[i];
                        return read_spans(align(field.expected, field.read));
                      }));
  }
  if (plate.outcome == Outcome::kUnlabelled) {
    return plate_view(label, plate.read, false, rows_of_fields([&](std::size_t i) {
                        return plain_spans(read.*kFields[i].value);
                      }));
  }
  return plate_view(label, plate.read, true,
                    row_of_text(read_spans(align(plate.expected, plate.read))));
}

std::string render_plate_list(const View& plates) {
  static Template plate_template(resources::kPlates);
  View view;
  view.set("plates", plates);
  return plate_template.render(view);
}

}  // namespace

Template::Template(const char* text) : mustache_(std::string(text)) {
  if (!mustache_.is_valid()) throw std::logic_error(mustache_.error_message());
}

std::string Template::render(const View& view) { return mustache_.render(view); }

std::string render_page(const std::string& title, const std::string& body,
                        const std::string& images) {
  View view;
  view.set("images", images);
  view.set("title", title);
  view.set("version", std::string(resources::kVersion));
  view.set("style", std::string(resources::kStyle));
  view.set("style_hash", std::string(resources::kStyleHash));
  view.set("script", std::string(resources::kScript));
  view.set("script_hash", std::string(resources::kScriptHash));
  view.set("body", body);
  view.set("texts", std::string(resources::kReportTexts));
  return Template(resources::kPage).render(view);
}

std::string digits(std::int64_t number) { return std::to_string(number); }

View make_list() { return View(View::type::list); }

View text_or_false(const std::string& text) { return text.empty() ? View(false) : View(text); }

View list_of_texts(const std::vector<std::string>& texts) {
  View list = make_list();
  for (const std::string& text : texts) list.push_back(View("text", printable(text)));
  return list;
}

const char* style_class(Outcome outcome) {
  return outcome == Outcome::kNotRead ? "notread" : name_of(outcome);
}

View read_line(const PlateJudgement& plate, const PlateFields& read) {
  if (plate.outcome == Outcome::kUnlabelled) return plain_spans(read.final_plate_number);
  if (!plate.fields) return read_spans(align(plate.expected, plate.read));
  View line = make_list();
  for (const FieldJudgement& field : *plate.fields) {
    if (!line.list_value().empty()) line.push_back(span(U" ", kUnmarked));
    const View pieces = read_spans(align(field.expected, field.read));
    for (const View& piece : pieces.list_value()) line.push_back(piece);
  }
  return line;
}

std::string render_plates(const PlateJudgement& plate, const PlateFields& read,
                          const std::string& label) {
  View plates = make_list();
  if (plate.outcome != Outcome::kUnlabelled) plates.push_back(expected_plate(plate));
  plates.push_back(read_plate(plate, read, label));
  return render_plate_list(plates);
}

std::string render_read_plate(const PlateJudgement& plate, const PlateFields& read,
                              const std::string& label) {
  View plates = make_list();
  plates.push_back(read_plate(plate, read, label));
  return render_plate_list(plates);
}

}  // namespace kavrel::report
