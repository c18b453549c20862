#include "System/XMLPropertyListCheck.h"

#include "System/PropertyListError.h"
#include "System/PropertyListScalars.h"

#include <algorithm>

namespace {

constexpr auto require = PropertyListError::unless;

class XMLCheck {
public:
    XMLCheck(std::string& whole, int depthLimit)
        : whole(whole), text(whole), depthLimit(depthLimit) {}

    void run() {
        while (skipText()) {
            const char kind = text.size() > 1 ? text[1] : '\0';
            if (kind == '!' || kind == '?') {
                readOther();
            } else {
                readTag();
            }
        }
        require(ended, "it is cut short");
    }

private:
    void readOther() {
        if (skipUpTo("<!--", "-->") || skipUpTo("<?", "?>")) {
            return;
        }
        if (text.starts_with("<![CDATA[")) {
            require(depth > 1, "text stands outside an element");
            skipUpTo("<![CDATA[", "]]>");
        } else {
            readDocumentType();
        }
    }

    /// Up to the next markup; false at the end of everything.
    bool skipText() {
        const std::size_t markup = std::min(text.find('<'), text.size());
        require(depth > 1 || text.substr(0, markup).find_first_not_of(" \t\r\n") >= markup,
                "text stands outside an element");
        text.remove_prefix(markup);
        return !text.empty();
    }

    bool skipUpTo(std::string_view start, std::string_view end) {
        if (!text.starts_with(start)) {
            return false;
        }
        const std::size_t found = text.find(end, start.size());
        require(found != std::string_view::npos, "it is cut short");
        text.remove_prefix(found + end.size());
        return true;
    }

    /// The text between "<" and ">". libplist ends a tag at the first ">", quoted or not, so a tag
    /// that could be read in two ways is refused.
    std::string_view nextTag() {
        const std::size_t end = text.find('>');
        require(end != std::string_view::npos, "it is cut short");
        const std::string_view tag = text.substr(1, end - 1);
        int starts = 0, quotes = 0, apostrophes = 0;
        for (const char character : tag) {
            starts += character == '<' ? 1 : 0;
            quotes += character == '"' ? 1 : 0;
            apostrophes += character == '\'' ? 1 : 0;
        }
        require(starts == 0 && quotes % 2 == 0 && apostrophes % 2 == 0, "a tag does not end");
        text.remove_prefix(end + 1);
        return tag;
    }

    void readDocumentType() {
        require(!started, "a declaration is out of place");
        require(nextTag().find('[') == std::string_view::npos, "it declares entities");
    }

    void readTag() {
        std::string_view tag = nextTag();
        require(!ended, "there is something after its end");
        if (tag.starts_with('/')) {
            --depth;
            require(depth >= 0, "an element ends that was not begun");
            ended = depth == 0;
            require(!ended || values == 1, "it holds no value, or more than one");
            return;
        }
        if (!started) {
            require(tag == "plist" || tag.starts_with("plist "), "it does not begin with <plist>");
            started = true;
        }
        values += depth == 1 ? 1 : 0;
        if (isPropertyListScalar(tag)) {
            readContent(tag);
        }
        if (!tag.ends_with('/')) {
            ++depth;
        }
        require(depth > 0, "it holds no value");
        require(depth <= depthLimit, "it is nested too deep");
    }

    /// Of a number or a date, up to the element's end. What is empty holds none.
    void readContent(std::string_view tag) {
        const std::size_t length = tag.ends_with('/') ? 0 : std::min(text.find('<'), text.size());
        settlePropertyListScalar(tag, std::span(whole).subspan(whole.size() - text.size(), length));
    }

    std::string& whole;
    std::string_view text;
    const int depthLimit;
    int depth = 0;
    int values = 0;
    bool started = false;
    bool ended = false;
};

} // namespace

void checkXMLPropertyList(std::string& text, int depthLimit) { XMLCheck(text, depthLimit).run(); }
