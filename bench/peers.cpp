#include "peers.hpp"

#include <opencv2/imgproc.hpp>

#include "bilateral/smoothing_filters.hpp"
#include "settings.hpp"

namespace bench {
namespace {

// OpenCV takes its inputs through non-const pointers; the peers only read them.
template <class T>
cv::Mat image(std::uint64_t n, int type, T const* data) {
    auto const side = static_cast<int>(n);
    return {side, side, type, const_cast<T*>(data)};
}

} // namespace

cv::Mat heightImage(Survey const& survey) { return image(survey.n, CV_32F, survey.height.data()); }
cv::Mat codeImage(Survey const& survey) { return image(survey.n, CV_8U, survey.codes.data()); }

void ScharrMagnitude::operator()(cv::Mat const& height) {
    cv::Scharr(height, dx, CV_32F, 1, 0);
    cv::Scharr(height, dy, CV_32F, 0, 1);
    cv::magnitude(dx, dy, magnitude);
}

cv::Mat GaussianFilter2D::libraryKernel() {
    auto const weights = Rastrum::gaussianKernel(WINDOW, SIGMA_SPATIAL);
    auto const side = static_cast<int>(Rastrum::effectiveWindowSize(WINDOW));
    // Entry a + side * b is offset (a, b): x along a row, as in the image.
    cv::Mat kernel(side, side, CV_32F);
    for (int b = 0; b < side; ++b) {
        for (int a = 0; a < side; ++a) {
            kernel.at<float>(b, a) = static_cast<float>(weights[static_cast<std::size_t>(a + side * b)]);
        }
    }
    return kernel;
}

void GaussianFilter2D::operator()(cv::Mat const& height) { cv::filter2D(height, result, CV_32F, kernel); }

void Bilateral::operator()(cv::Mat const& height) {
    cv::bilateralFilter(height, result, diameter, SIGMA_RANGE, sigmaSpatial);
}

void DataMask::operator()(cv::Mat const& codes) {
    cv::inRange(codes, 1, 3, holes);
    holes.convertTo(mask, CV_32F, -1.0 / 255.0, 1.0);
}

void Difference::operator()(cv::Mat const& later, cv::Mat const& earlier, cv::Mat const& laterCodes,
                            cv::Mat const& earlierCodes) {
    cv::subtract(later, earlier, difference);
    cv::inRange(laterCodes, 1, 3, holesLater);
    cv::inRange(earlierCodes, 1, 3, holesEarlier);
    cv::bitwise_or(holesLater, holesEarlier, holes);
    difference.setTo(0, holes);
}

} // namespace bench
