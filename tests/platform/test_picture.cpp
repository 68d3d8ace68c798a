#include "tests/platform/test_picture.h"

#include <algorithm>
#include <cstdlib>

namespace zem::test {

Picture patches(int width, int height) {
    constexpr uint8_t kColours[4][3] = {{81, 90, 240}, {145, 54, 34}, {41, 240, 110}, {200, 20, 150}};
    Picture picture{width, height, false, {}, {}, {}};
    for (int row = 0; row < height; row++) {
        for (int column = 0; column < width; column++) {
            const uint8_t* colour = kColours[(row < height / 2 ? 0 : 2) + (column < width / 2 ? 0 : 1)];
            picture.y.push_back(colour[0]);
            if (row % 2 == 0 && column % 2 == 0) {
                picture.cb.push_back(colour[1]);
                picture.cr.push_back(colour[2]);
            }
        }
    }
    return picture;
}

std::vector<uint8_t> frameOf(const Picture& picture, bool interleaved, size_t chromaOffset) {
    std::vector<uint8_t> frame = picture.y;
    frame.resize(chromaOffset, 0xEE);
    if (!interleaved) {
        frame.insert(frame.end(), picture.cb.begin(), picture.cb.end());
        frame.insert(frame.end(), picture.cr.begin(), picture.cr.end());
        return frame;
    }
    for (size_t i = 0; i < picture.cb.size(); i++) {
        frame.push_back(picture.cb[i]);
        frame.push_back(picture.cr[i]);
    }
    return frame;
}

int largestDifference(const Picture& a, const Picture& b) {
    int largest = 0;
    for (const auto plane : {&Picture::y, &Picture::cb, &Picture::cr}) {
        if ((a.*plane).size() != (b.*plane).size() || a.width != b.width) {
            return 256;
        }
        for (size_t i = 0; i < (a.*plane).size(); i++) {
            largest = std::max(largest, std::abs((a.*plane)[i] - (b.*plane)[i]));
        }
    }
    return largest;
}

}  // namespace zem::test
