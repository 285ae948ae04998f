#pragma once

#include <opencv2/core.hpp>

#include "settings.hpp"
#include "terrain.hpp"

// OpenCV's counterparts of the library's raster operations, on whole
// rasters. Each keeps its scratch images, so repeated calls allocate nothing.
namespace bench {

// Views of a survey as single-channel images (rows = y), without copying.
cv::Mat heightImage(Survey const& survey);
cv::Mat codeImage(Survey const& survey);

// Scharr derivatives in x and y and their magnitude.
struct ScharrMagnitude {
    cv::Mat dx, dy, magnitude;
    void operator()(cv::Mat const& height);
};

// filter2D with the library's normalised Gaussian kernel of the shared window.
struct GaussianFilter2D {
    cv::Mat kernel = libraryKernel();
    cv::Mat result;
    void operator()(cv::Mat const& height);
    static cv::Mat libraryKernel();
};

// bilateralFilter with d = the shared window and the shared sigmas.
struct Bilateral {
    int diameter = static_cast<int>(WINDOW);
    double sigmaSpatial = SIGMA_SPATIAL;
    cv::Mat result;
    void operator()(cv::Mat const& height);
};

// bilateralFilter with d = the wide window and its spatial sigma.
struct WideBilateral : Bilateral {
    WideBilateral() {
        diameter = static_cast<int>(WIDE_WINDOW);
        sigmaSpatial = WIDE_SIGMA_SPATIAL;
    }
};

// The data mask as floats: 1 where the code is 0 or 4, else 0. A two-sided
// compare (inRange) finds the hole codes 1 to 3, a scaled conversion inverts it.
struct DataMask {
    cv::Mat holes, mask;
    void operator()(cv::Mat const& codes);
};

// The difference later - earlier, 0 where either survey has a hole.
struct Difference {
    cv::Mat holesLater, holesEarlier, holes, difference;
    void operator()(cv::Mat const& later, cv::Mat const& earlier, cv::Mat const& laterCodes,
                    cv::Mat const& earlierCodes);
};

} // namespace bench
