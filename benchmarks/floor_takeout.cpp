/// The yardsticks for a Takeout source: a program that does only the unavoidable.
///
///     floor_takeout SOURCE RESULT_DIR
///
/// Map the file, cut it at "From ", find the fields' bytes, decode and write the attachments, insert equal rows through
/// one prepared statement in one transaction. Built twice: with the SQLite C API (the floor), and with every access to
/// SQLite through Qt's classes and values bound as strings ("plain Qt"), see sink.h. It knows only well-formed mail, as
/// `generate` makes it, and checks nothing.
#include "benchmarks/sink.h"

#include "common/base64.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace fs = std::filesystem;
using std::string;
using std::string_view;

namespace {

constexpr const char *columns[] = {"account_id",        "subject",           "to_list",           "from_list",
                                   "timestamp",         "cc_list",           "snippet",           "email_attachments",
                                   "source_file",       "os_scheme_display", "source_count_name", "message_text",
                                   "export_file_paths", "preview_file_path"};

string_view header(string_view headers, string_view mark)
{
    const std::size_t at = headers.find(mark);
    if (at == string_view::npos)
        return {};
    const std::size_t begin = at + mark.size();
    return headers.substr(begin, headers.find('\n', begin) - begin);
}

string_view trimmed(string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    return begin == string_view::npos ? string_view()
                                      : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

/// The names of "Name <address>, Name <address>" and of the line after it, as the program reads them.
string names(string_view headers, string_view mark)
{
    string_view line = header(headers, mark);
    if (line.empty())
        return {};
    if (line.find(',') != string_view::npos) {
        const std::size_t end = static_cast<std::size_t>(line.data() - headers.data()) + line.size() + 1;
        line = headers.substr(end - 1 - line.size(), headers.find('\n', end) - (end - 1 - line.size()));
        line = string_view(line);
    }
    string flat(line);
    flat.erase(std::remove(flat.begin(), flat.end(), '\n'), flat.end());
    string result;
    bool keep = true;
    for (std::size_t at = 0; at < flat.size();) {
        const std::size_t end = std::min(flat.find_first_of(",<", at), flat.size());
        if (end > at) {
            if (keep)
                result.append(flat, at, end - at).append(1, ',');
            keep = !keep;
        }
        at = end + 1;
    }
    if (!result.empty())
        result.pop_back();
    return string(trimmed(result));
}

/// Of "Mon, 01 Jan 2024 02:03:04 +0100".
string epoch(string_view date)
{
    static const char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const auto digits = [date](std::size_t at, std::size_t count) {
        int number = 0;
        for (std::size_t i = at; i < at + count; ++i)
            number = number * 10 + (date[i] - '0');
        return number;
    };
    if (date.size() < 31)
        return "0";
    std::tm time = {};
    time.tm_mday = digits(5, 2);
    time.tm_mon = static_cast<int>(string_view(months).find(date.substr(8, 3)) / 3);
    time.tm_year = digits(12, 4) - 1900;
    time.tm_hour = digits(17, 2);
    time.tm_min = digits(20, 2);
    time.tm_sec = digits(23, 2);
    const int offset = digits(27, 2) * 3600 + digits(29, 2) * 60;
    return std::to_string(timegm(&time) + (date[26] == '+' ? -offset : offset));
}

class attachments
{
public:
    explicit attachments(const fs::path &directory)
        : folder(directory.string() + "/")
    {
        fs::create_directories(directory);
    }

    string write(string_view wanted, string_view encoded)
    {
        std::size_t &count = used[string(wanted)];
        string name = count == 0 ? string(wanted) : std::to_string(count) + "_" + string(wanted);
        ++count;
        decoded.resize(static_cast<std::size_t>(base64_decoder::room_for(static_cast<qsizetype>(encoded.size()))));
        const qsizetype size =
            base64_decoder().decode({encoded.data(), static_cast<qsizetype>(encoded.size())}, decoded.data());
        const int file = ::open((folder + name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
        if (::write(file, decoded.data(), static_cast<std::size_t>(size)) != size)
            std::abort();
        ::close(file);
        return name;
    }

private:
    string folder;
    std::unordered_map<string, std::size_t> used;
    std::vector<char> decoded;
};

void store(string_view mail, const string &source_file, attachments &files, sink &rows)
{
    constexpr string_view part_mark = "\n\r\n------=";
    const std::size_t blank = mail.find("\n\r\n");
    const string_view headers = mail.substr(0, blank + 1);
    string_view text;
    string listed;
    string exported;
    string preview;
    if (headers.find("Content-Type: multipart") == string_view::npos) {
        text = trimmed(mail.substr(blank + 3, mail.find("\n\r\n", blank + 3) - blank - 3));
    } else {
        const std::size_t part = mail.find("\n\r\n", mail.find("text/plain;", blank)) + 3;
        std::size_t at = mail.find(part_mark, part);
        text = trimmed(mail.substr(part, at - part));
        while ((at = mail.find("filename=\"", at)) != string_view::npos) {
            const std::size_t name = at + 10;
            const std::size_t end_of_name = mail.find('"', name);
            const std::size_t body = mail.find("\r\n\r\n", end_of_name);
            const auto *end = static_cast<const char *>(::memmem(mail.data() + body, mail.size() - body, "==", 2));
            const std::size_t end_of_body = static_cast<std::size_t>(end - mail.data());
            const string written =
                files.write(mail.substr(name, end_of_name - name), mail.substr(body, end_of_body - body));
            const string path = "./Attachments/" + written;
            listed += (listed.empty() ? "" : ",") + written;
            exported += (exported.empty() ? "" : ";++::++;") + path;
            if (preview.empty())
                preview = path;
            at = end_of_body;
        }
    }
    string_view from = header(headers, "\nFrom: ");
    from = trimmed(from.substr(0, from.find('<')));
    const string to = names(headers, "\nTo: ");
    const string cc = names(headers, "\nCc: ");
    const string date = epoch(header(headers, "\nDate: "));
    const field body = text_field(text);
    rows.insert({text_field("account"), text_field(trimmed(header(headers, "\nSubject: "))), text_field(to),
                 text_field(from), text_field(date), text_field(cc), body, text_field(listed), text_field(source_file),
                 text_field("display"), text_field("Source1"), body, text_field(exported), text_field(preview)});
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    const fs::path result = argv[2];
    fs::remove_all(result);
    fs::create_directories(result);
    database db(result / "Gmail.sqlite");
    sink rows(db, "messages", columns);
    attachments files(result / "Attachments");
    std::vector<fs::path> paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(fs::path(argv[1]) / "Mail")) {
        if (entry.path().extension() == ".mbox")
            paths.push_back(entry.path());
    }
    for (const fs::path &path : paths) {
        const string source_file = "/" + fs::relative(path, argv[1]).string();
        const int file = ::open(path.c_str(), O_RDONLY);
        struct stat info = {};
        ::fstat(file, &info);
        const auto size = static_cast<std::size_t>(info.st_size);
        void *map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
        ::madvise(map, size, MADV_SEQUENTIAL);
        const string_view mails(static_cast<const char *>(map), size);
        for (std::size_t begin = 0;;) {
            const auto *next = static_cast<const char *>(::memmem(mails.data() + begin, size - begin, "\nFrom ", 6));
            if (!next)
                break;
            const std::size_t end = static_cast<std::size_t>(next - mails.data()) + 1;
            store(mails.substr(begin, end - begin), source_file, files, rows);
            begin = end;
        }
        ::munmap(map, size);
        ::close(file);
    }
    return 0;
}
