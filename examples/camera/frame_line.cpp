#include "examples/camera/frame_line.hpp"

#include <iterator>

#include <fmt/format.h>

namespace qel::camera {

std::string DescribeFrame(meta::Timestamp time, std::uint16_t channel, std::vector<Track> const& tracks,
                          cv::Size picture) {
    std::string line = fmt::format("{{\"timestamp\": {}, \"channel\": {{\"id\": {}}}, \"objects\": [",
                                   time.time_since_epoch().count(), channel);
    char const* separator = "";
    for (auto const& track : tracks) {
        fmt::format_to(std::back_inserter(line),
                       "{}{{\"id\": {}, \"class\": \"person\", \"box\": [{:.4f}, {:.4f}, {:.4f}, {:.4f}], "
                       "\"confidence\": {:.2f}}}",
                       separator, track.id, track.box.x / picture.width, track.box.y / picture.height,
                       track.box.width / picture.width, track.box.height / picture.height, track.confidence);
        separator = ", ";
    }
    return line + "]}\n";
}

}  // namespace qel::camera
