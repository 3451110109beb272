#ifndef KAVREL_PLATE_BOXES_PICTURE_H
#define KAVREL_PLATE_BOXES_PICTURE_H

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

namespace kavrel {

// Writes a BGR image with the `box` of every record drawn in green. A failed write is ignored.
template <typename Record>
void write_boxes_picture(const cv::Mat& image, const std::vector<Record>& records,
                         const std::string& path) {
  cv::Mat picture = image.clone();
  for (const Record& record : records) cv::rectangle(picture, record.box, cv::Scalar(0, 255, 0), 2);
  cv::imwrite(path, picture);
}

}  // namespace kavrel

#endif
