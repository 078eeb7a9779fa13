// Reads the whole file each time, which is short, and goes on behind the last line it took.
#include "simulator/standins/live_inputs.h"

#include "simulator/formats/csv.h"
#include "simulator/standins/dll_folder.h"

#include <sstream>

namespace kelvane::simulator {

namespace {

constexpr std::size_t columns = 2;

Input parseLine(const std::string& line)
{
    std::istringstream text(line);
    const std::vector<CsvRecord> records = readCsv(text);
    if (records.size() != 1 || records.front().fields.size() != columns) {
        throw MalformedScenario("two columns are needed, input,value");
    }
    return readInput(records.front().fields[0], records.front().fields[1]);
}

bool isSkipped(const std::string& line)
{
    return line.starts_with('#') || line.find_first_not_of(" \t\r") == std::string::npos;
}

}  // namespace

LiveInputs::LiveInputs(std::filesystem::path file) : path(std::move(file)) {}

void LiveInputs::poll(const std::function<void(const Input&)>& onInput,
                      const std::function<void(const std::string&)>& onFault)
{
    const std::string text = readFile(path).value_or("");
    if (text.size() < taken) taken = lines = 0;
    for (std::size_t end = text.find('\n', taken); end != std::string::npos; end = text.find('\n', taken)) {
        const std::string line = text.substr(taken, end - taken);
        taken = end + 1;
        lines += 1;
        if (isSkipped(line)) continue;
        try {
            onInput(parseLine(line));
        } catch (const std::runtime_error& fault) {
            onFault(toUtf8(path.filename()) + ":" + std::to_string(lines) + ": " + fault.what());
        }
    }
}

}  // namespace kelvane::simulator
