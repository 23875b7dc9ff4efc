#include "show/chart.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "show/text.h"

namespace {

int64_t highest_speed(const std::vector<SSample>& samples) {
    int64_t highest = 1;
    for (const SSample& sample : samples)
        highest = std::max(highest, sample.speed);
    return highest;
}

/// The speed at a time: that of the sample which covers it.
int64_t speed_at(const std::vector<SSample>& samples, int64_t msecs) {
    const auto covers = [&](const SSample& sample) { return sample.msecs > msecs; };
    const auto found = std::find_if(samples.begin(), samples.end(), covers);
    return found != samples.end() ? found->speed : samples.back().speed;
}

// The picture, in pixels.
constexpr int width = 720;
constexpr int height = 300;
constexpr int left = 80;
constexpr int right = 20;
constexpr int top = 40;
constexpr int bottom = 50;

/// Some five marks on an axis from 0 to `end`, apart by 1, 2 or 5 times a power of ten.
std::vector<double> marks(double end) {
    double step = std::pow(10, std::floor(std::log10(end / 5)));
    for (const double times : {2.0, 2.5, 2.0}) {
        if (end / step > 6)
            step *= times;
    }
    std::vector<double> values;
    while (step * static_cast<double>(values.size()) <= end * 1.0001)
        values.push_back(step * static_cast<double>(values.size()));
    return values;
}

/// The axes of a picture: seconds to the right, bits per second up.
struct SAxes {
    double seconds;
    double bits;

    double x(double at) const { return left + at / seconds * (width - left - right); }
    double y(double speed) const {
        return height - bottom - speed / bits * (height - top - bottom);
    }
};

void append_axes(std::string* svg, const SAxes& axes) {
    for (const double at : marks(axes.seconds))
        append(svg, "<text x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g</text>\n", axes.x(at),
               height - bottom + 18, at);
    for (const double at : marks(axes.bits)) {
        append(svg, "<path d=\"M%d %.1fH%d\" stroke=\"#ddd\"/>\n", left, axes.y(at), width - right);
        append(svg, "<text x=\"%d\" y=\"%.1f\" text-anchor=\"end\">", left - 8, axes.y(at) + 4);
        append_prefixed(svg, static_cast<int64_t>(at), " ");
        *svg += "</text>\n";
    }
    append(svg, "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">seconds</text>\n",
           (left + width - right) / 2, height - 12);
    append(svg,
           "<text transform=\"translate(16 %d) rotate(-90)\" text-anchor=\"middle\">bit/s</text>\n",
           (top + height - bottom) / 2);
}

std::string escape_xml(const std::string& text) {
    std::string escaped;
    for (const char c : text)
        escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
    return escaped;
}

}  // namespace

std::string chart_row(const std::vector<SSample>& samples, size_t columns, bool isUtf8) {
    constexpr std::array<const char*, 8> blocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array<const char*, 8> letters = {"_", ".", ":", "-", "=", "+", "*", "#"};
    constexpr size_t indent = 2;
    if (samples.empty() || samples.back().msecs == 0 || columns <= indent)
        return "";
    const int64_t end = samples.back().msecs;
    const int64_t highest = highest_speed(samples);
    std::string text = "  speed over time          ";
    text += "0 to ";
    append_prefixed(&text, to_bits(highest), " ");
    append(&text, "bit/s, in %.1f s\n  ", static_cast<double>(end) / 1000);
    const auto count = static_cast<int64_t>(columns - indent);
    for (int64_t i = 0; i < count; ++i) {
        const double share =
            static_cast<double>(speed_at(samples, end * i / count)) / static_cast<double>(highest);
        const auto level = static_cast<size_t>(std::lround(share * 7));
        text += isUtf8 ? blocks.at(level) : letters.at(level);
    }
    return text + "\n";
}

std::string chart_picture(const std::vector<SSample>& samples, const std::string& title) {
    const int64_t end = samples.empty() ? 1000 : samples.back().msecs;
    const SAxes axes{static_cast<double>(std::max<int64_t>(end, 1)) / 1000,
                     static_cast<double>(to_bits(highest_speed(samples))) * 1.05};
    std::string svg;
    append(&svg,
           "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
           "font-family=\"sans-serif\" font-size=\"12\">\n"
           "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
           "<text x=\"%d\" y=\"24\" font-size=\"14\">",
           width, height, left);
    svg += escape_xml(title) + "</text>\n";
    append_axes(&svg, axes);
    append(&svg, "<path d=\"M%.1f %.1f", axes.x(0), axes.y(0));
    for (const SSample& sample : samples) {
        append(&svg, "V%.1f", axes.y(static_cast<double>(to_bits(sample.speed))));
        append(&svg, "H%.1f", axes.x(static_cast<double>(sample.msecs) / 1000));
    }
    append(&svg, "V%.1f\" fill=\"#cfe2f3\" stroke=\"#1f77b4\"/>\n", axes.y(0));
    if (samples.empty())
        append(&svg, "<text x=\"%d\" y=\"%d\">too short to be sampled</text>\n", left + 20,
               height / 2);
    return svg + "</svg>\n";
}
