#include "compiler/xml_reader.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "log/mod_log.h"
#include "system/mod_hal.h"
#include "system/mod_string.h"

namespace QZ {
namespace COMPILER {

namespace {

const char* const string_file_name = "unknown file";
constexpr int32_t XML_ERROR_CODE = 9;

// Frees the parser on every way out.
struct Parser_owner {
    XML_Parser parser = XML_ParserCreate(nullptr);
    ~Parser_owner()
    {
        if (parser)
            XML_ParserFree(parser);
    }
};

struct File_owner {
    std::FILE* file;
    ~File_owner()
    {
        if (file)
            std::fclose(file);
    }
};

void add_attributes(Capture_node& node, const char** attributes)
{
    for (const char** a = attributes; a && a[0] && a[1]; a += 2)
        node.attributes.emplace_back(a[0], a[1]);
}

std::string forward_slashes(std::string path)
{
    for (char& c : path)
        if (c == '\\')
            c = '/';
    return path;
}

// Up to and with the last slash; empty when there is none.
std::string directory_of(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

bool file_exists(const std::string& path) { return SYSTEM::mod_hal && SYSTEM::mod_hal->file_exists(path.c_str()); }

}  // namespace

// Reader

void Xml_reader::begin(const char* file_name)
{
    file_name_ = file_name;
    parse_failed_ = false;
    stopped_ = false;
}

void Xml_reader::record_unable_to_open(const std::string& text)
{
    SYNTAX_TREE::Error_record record;
    record.number = SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE;
    record.text = text;
    errors_.push_back(record);
}

void Xml_reader::stop()
{
    if (parser_ && !stopped_) {
        stopped_ = true;
        XML_StopParser(parser_, XML_FALSE);
    }
}

bool Xml_reader::feed(XML_Parser parser, const char* bytes, int size, bool final)
{
    if (XML_Parse(parser, bytes, size, final ? 1 : 0) != XML_STATUS_ERROR)
        return true;
    parse_failed_ = true;
    if (!stopped_ && !quiet_)
        LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, XML_ERROR_CODE, "%s at line %d\n",
                            XML_ErrorString(XML_GetErrorCode(parser)), int(XML_GetCurrentLineNumber(parser)));
    return false;
}

bool Xml_reader::parse_string(const char* text)
{
    begin(string_file_name);
    if (!text || !*text) {
        // The number whose message says what happened: "Empty xovl string, cannot be parsed".
        SYNTAX_TREE::Error_record record;
        record.number = SYNTAX_TREE::DIAG_EMPTY_XOVL;
        errors_.push_back(record);
        return true;
    }
    Parser_owner owner;
    parser_ = owner.parser;
    XML_SetUserData(parser_, this);
    setup_parser(parser_);
    size_t length = std::strlen(text);
    // One final chunk, cut into pieces that an int can count.
    const int piece = 1 << 30;
    while (length > size_t(piece)) {
        if (!feed(parser_, text, piece, false))
            break;
        text += piece;
        length -= size_t(piece);
    }
    if (!parse_failed_)
        feed(parser_, text, int(length), true);
    parser_ = nullptr;
    return true;
}

bool Xml_reader::parse_file(const char* path)
{
    if (!path || !*path)
        return false;
    begin(path);
    // A directory opens on some systems and then reads as nothing.
    std::error_code error;
    File_owner file{std::filesystem::is_directory(path, error) ? nullptr : std::fopen(path, "r")};
    if (!file.file) {
        record_unable_to_open(path);
        return true;
    }
    Parser_owner owner;
    parser_ = owner.parser;
    XML_SetUserData(parser_, this);
    setup_parser(parser_);
    char chunk[CHUNK_SIZE];
    for (;;) {
        size_t size = std::fread(chunk, 1, sizeof chunk, file.file);
        bool final = size < sizeof chunk;
        if (!feed(parser_, chunk, int(size), final) || final)
            break;
    }
    parser_ = nullptr;
    return true;
}

// Capture

Capture::Capture(const char* name, const char** attributes) : root_(new Capture_node), current_(root_)
{
    root_->name = name ? name : "";
    add_attributes(*root_, attributes);
}

Capture::~Capture()
{
    std::vector<Capture_node*> pending{root_};
    while (!pending.empty()) {
        Capture_node* node = pending.back();
        pending.pop_back();
        pending.insert(pending.end(), node->children.begin(), node->children.end());
        delete node;
    }
}

void Capture::start_element(const char* name, const char** attributes)
{
    auto* node = new Capture_node;
    node->name = name ? name : "";
    add_attributes(*node, attributes);
    node->parent = current_;
    current_->children.push_back(node);
    current_ = node;
}

bool Capture::end_element(const char* name)
{
    if (name && root_->name == name)
        return true;
    if (current_->parent)
        current_ = current_->parent;
    return false;
}

std::string Capture::text() const
{
    std::string out;
    // A node is visited twice: first to open it, then (when it has children) to close it.
    struct Step {
        const Capture_node* node;
        size_t level;
        bool closing;
    };
    std::vector<Step> pending{{root_, 0, false}};
    while (!pending.empty()) {
        Step step = pending.back();
        pending.pop_back();
        out.append(step.level * 2, ' ');
        if (step.closing) {
            out += "</" + step.node->name + ">\n";
            continue;
        }
        out += '<' + step.node->name;
        for (const auto& attribute : step.node->attributes)
            out += ' ' + attribute.first + "=\"" + attribute.second + '"';
        if (step.node->children.empty()) {
            out += "/>\n";
            continue;
        }
        out += ">\n";
        pending.push_back(Step{step.node, step.level, true});
        for (auto it = step.node->children.rbegin(); it != step.node->children.rend(); ++it)
            pending.push_back(Step{*it, step.level + 1, false});
    }
    return out;
}

// Paths

std::string resolve_source_path(const char* base, const char* name)
{
    if (!name)
        return std::string();
    if (SYSTEM::is_absolute_path(name) && file_exists(name))
        return name;
    if (SYSTEM::mod_string) {
        std::string found = SYSTEM::mod_string->resolve_file("shader", name);
        if (!found.empty())
            return found;
    }
    if (base && !SYSTEM::is_absolute_path(name)) {
        std::string beside = directory_of(forward_slashes(base)) + name;
        if (file_exists(beside))
            return beside;
    }
    return name;
}

std::string relative_source_path(const char* base, const char* path)
{
    std::string target = forward_slashes(path ? path : "");
    std::string directory = directory_of(forward_slashes(base ? base : ""));
    if (!directory.empty() && target.compare(0, directory.size(), directory) == 0)
        return target.substr(directory.size());
    return target;
}

}  // namespace COMPILER
}  // namespace QZ
