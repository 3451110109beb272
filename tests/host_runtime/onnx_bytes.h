// Writes small ONNX files byte by byte, so that a test states the network it is about in place
// and needs neither files nor Python. Numbers are those of onnx.proto's fields.
#ifndef KAVREL_HOST_RUNTIME_TESTING_ONNX_BYTES_H
#define KAVREL_HOST_RUNTIME_TESTING_ONNX_BYTES_H

#include <cstdint>
#include <string>
#include <vector>

namespace onnx_bytes {

enum ElementType {
  kFloat = 1,
  kUint8 = 2,
  kInt8 = 3,
  kUint16 = 4,
  kInt16 = 5,
  kInt32 = 6,
  kInt64 = 7,
  kFloat16 = 10
};

// A dimension that is known only when the network runs.
constexpr std::int64_t kDynamic = -1;

inline std::string varint(std::uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

inline std::string field(unsigned number, std::int64_t value) {
  return varint(number << 3) + varint(static_cast<std::uint64_t>(value));
}

inline std::string field(unsigned number, const std::string& bytes) {
  return varint(number << 3 | 2) + varint(bytes.size()) + bytes;
}

inline std::string tensor_type(ElementType type, const std::vector<std::int64_t>& dims) {
  std::string shape;
  for (const std::int64_t dim : dims) {
    shape += field(1, dim == kDynamic ? field(2, std::string("N")) : field(1, dim));
  }
  return field(1, field(1, type) + field(2, shape));
}

// A named input or output of the graph.
inline std::string tensor(const std::string& name, ElementType type,
                          const std::vector<std::int64_t>& dims) {
  return field(1, name) + field(2, tensor_type(type, dims));
}

// An output that is a list of tensors.
inline std::string sequence(const std::string& name, ElementType type,
                            const std::vector<std::int64_t>& dims) {
  return field(1, name) + field(2, field(4, field(1, tensor_type(type, dims))));
}

inline std::string node(const std::string& operation, const std::vector<std::string>& inputs,
                        const std::string& output, const std::string& attributes = "") {
  std::string bytes;
  for (const std::string& input : inputs) bytes += field(1, input);
  return bytes + field(2, output) + field(4, operation) + attributes;
}

// A node that changes the element type.
inline std::string cast(const std::string& input, const std::string& output, ElementType type) {
  const std::int64_t integer = 2;
  return node("Cast", {input}, output,
              field(5, field(1, std::string("to")) + field(3, type) + field(20, integer)));
}

// The whole file.
inline std::string model(const std::vector<std::string>& nodes,
                         const std::vector<std::string>& inputs,
                         const std::vector<std::string>& outputs) {
  std::string graph;
  for (const std::string& bytes : nodes) graph += field(1, bytes);
  graph += field(2, std::string("graph"));
  for (const std::string& bytes : inputs) graph += field(11, bytes);
  for (const std::string& bytes : outputs) graph += field(12, bytes);
  const std::int64_t format_version = 8;
  const std::int64_t operator_set = 17;
  return field(1, format_version) + field(7, graph) + field(8, field(2, operator_set));
}

// The whole file, with a property of its own: `key` is to be `value`.
inline std::string with_property(const std::string& file, const std::string& key,
                                 const std::string& value) {
  return file + field(14, field(1, key) + field(2, value));
}

// The whole file, which says that an element q of `name` stands for (q - zero_point) * scale.
inline std::string quantised(const std::string& file, const std::string& name,
                             const std::string& scale, const std::string& zero_point) {
  return with_property(with_property(file, name + ".scale", scale), name + ".zero_point",
                       zero_point);
}

// One input "image", handed on unchanged as "echo".
inline std::string echo(ElementType type, const std::vector<std::int64_t>& dims) {
  return model({node("Identity", {"image"}, "echo")}, {tensor("image", type, dims)},
               {tensor("echo", type, dims)});
}

}  // namespace onnx_bytes

#endif
