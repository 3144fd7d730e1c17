#include "host_files/host_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace tarnel_host
{

using std::filesystem::path;

[[noreturn]] static void refuse(const path& file, const std::string& reason)
{
    throw std::runtime_error(file.string() + ": " + reason);
}

struct close_stream {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using owned_stream = std::unique_ptr<std::FILE, close_stream>;

static owned_stream open_stream(const path& file, const char* mode)
{
    owned_stream stream(std::fopen(file.string().c_str(), mode));
    if (stream == nullptr) refuse(file, std::string("cannot be opened: ") + std::strerror(errno));
    return stream;
}

// A file being written. Each item is handed over by put; nothing is known to be written before finish returns.
class writer
{
public:
    explicit writer(path file) : file_(std::move(file)), stream_(open_stream(file_, "wb")) {}
    template <class T> void put(const T* values, std::size_t n)
    {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        if (n > 0 && std::fwrite(values, sizeof(T), n, stream_.get()) != n) fail();
    }
    template <class T> void put(const T& value) { put(&value, 1); }
    // A number that 0 would turn into the end of its list.
    void put_number(std::int32_t number, const char* name)
    {
        if (number == 0) refuse(file_, std::string(name) + " 0 would end its list");
        put(number);
    }
    void put_end() { put(std::int32_t{0}); }
    std::int32_t count_of(std::size_t n) const
    {
        if (n > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) refuse(file_, "too many values");
        return static_cast<std::int32_t>(n);
    }
    void check(bool holds, const char* reason) const
    {
        if (!holds) refuse(file_, reason);
    }
    void finish()
    {
        if (std::fflush(stream_.get()) != 0) fail();
        if (std::fclose(stream_.release()) != 0) fail();
    }

private:
    [[noreturn]] void fail() const { refuse(file_, std::string("cannot be written: ") + std::strerror(errno)); }
    path file_;
    owned_stream stream_;
};

// A file being read.
class reader
{
public:
    explicit reader(path file) : file_(std::move(file)), stream_(open_stream(file_, "rb")) {}
    template <class T> void get(T* values, std::size_t n, const char* item)
    {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        if (n > 0 && std::fread(values, sizeof(T), n, stream_.get()) != n)
            refuse(file_, std::ferror(stream_.get()) != 0 ? std::string("cannot be read: ") + std::strerror(errno)
                                                          : std::string("ends in ") + item);
    }
    template <class T> T get(const char* item)
    {
        T value{};
        get(&value, 1, item);
        return value;
    }
    // As many doubles as a count of the file says; read in pieces, so that a damaged count costs no memory.
    std::vector<double> get_doubles(std::uint64_t n, const char* item)
    {
        constexpr std::uint64_t piece = 65536;
        std::vector<double> values;
        while (values.size() < n) {
            const std::size_t from = values.size();
            values.resize(static_cast<std::size_t>(std::min<std::uint64_t>(n, from + piece)));
            get(values.data() + from, values.size() - from, item);
        }
        return values;
    }
    std::uint64_t get_count(const char* item)
    {
        const auto count = get<std::int32_t>(item);
        if (count < 0) refuse(file_, std::string(item) + " is negative");
        return static_cast<std::uint64_t>(count);
    }
    // The next record of a table without an end record; false when the file ends before it.
    template <class T> bool get_record(T& record)
    {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        const std::size_t got = std::fread(&record, 1, sizeof(T), stream_.get());
        if (got == 0 && std::ferror(stream_.get()) == 0) return false;
        if (got != sizeof(T)) refuse(file_, "ends in a record");
        return true;
    }

private:
    path file_;
    owned_stream stream_;
};

void write_volt_data1(const path& file, const volt_data1& data)
{
    writer out(file);
    out.put(data.maxvlt);
    for (const volt_property& property : data.properties) {
        out.put_number(property.nop, "nop");
        out.put(property.iswvlt);
        out.put(property.ngrad);
        out.check(property.iswvlt == 1 || property.conductors.empty(), "conductors need iswvlt 1");
        if (property.iswvlt != 1) continue;
        for (const volt_conductor& conductor : property.conductors) {
            out.put_number(conductor.novlt, "novlt");
            out.put(conductor.iswjh);
            out.put(conductor.nvect);
            out.put(conductor.lnon);
            out.put(std::int32_t{0}); // read with lnon and ignored
        }
        out.put_end();
    }
    out.put_end();
    out.finish();
}

volt_data1 read_volt_data1(const path& file)
{
    reader in(file);
    volt_data1 data;
    data.maxvlt = in.get<std::int32_t>("maxvlt");
    while (const auto nop = in.get<std::int32_t>("nop")) {
        volt_property property;
        property.nop = nop;
        property.iswvlt = in.get<std::int32_t>("iswvlt");
        property.ngrad = in.get<std::int32_t>("ngrad");
        while (property.iswvlt == 1) {
            volt_conductor conductor;
            conductor.novlt = in.get<std::int32_t>("novlt");
            if (conductor.novlt == 0) break;
            conductor.iswjh = in.get<std::int32_t>("iswjh");
            conductor.nvect = in.get<std::array<double, 3>>("nvect");
            conductor.lnon = in.get<std::int32_t>("lnon");
            in.get<std::int32_t>("lnon");
            property.conductors.push_back(conductor);
        }
        data.properties.push_back(std::move(property));
    }
    return data;
}

static void write_diodes(writer& out, const volt_data2& data)
{
    const bool with_diodes = data.maxtdat_diod > 0;
    out.check(with_diodes || (data.diodes.empty() && data.tables.empty()), "diodes need maxtdat_diod above 0");
    if (!with_diodes) return;
    for (const volt_diode& diode : data.diodes) {
        out.put_number(diode.novlt, "novlt_diod");
        out.put(diode.not_diod);
        out.put(diode.isign_diod);
    }
    out.put_end();
    out.check(std::cmp_less_equal(data.tables.size(), data.maxvlt), "more tables than maxvlt");
    for (const volt_table& table : data.tables) {
        out.put_number(table.not_diod, "not_diod");
        out.put(out.count_of(table.points.size()));
        out.put(table.points.data(), table.points.size());
    }
    if (std::cmp_less(data.tables.size(), data.maxvlt)) out.put_end(); // a full list needs no end
}

void write_volt_data2(const path& file, const volt_data2& data)
{
    writer out(file);
    for (const std::int32_t count : {data.maxvlt, data.nvoltg, data.nvoltv, data.nvoltve, data.nvoltm}) out.put(count);
    for (const volt_grad& grad : data.grads) {
        out.put_number(grad.ngrad, "ngrad");
        out.put(grad.iug);
    }
    out.put_end();
    for (const volt_edge& edge : data.edges) {
        out.put_number(edge.novlt, "novlt");
        out.put(edge.iuv);
        out.put(edge.constv);
        out.put(edge.icon);
    }
    out.put_end();
    for (const volt_node& node : data.nodes) {
        out.put_number(node.node, "node");
        out.put(node.ium);
    }
    out.put_end();
    out.put(data.maxtdat_diod);
    out.put(data.itermax_diod);
    out.put(data.eps_diod);
    write_diodes(out, data);
    out.finish();
}

static void read_diodes(reader& in, volt_data2& data)
{
    if (data.maxtdat_diod <= 0) return;
    while (const auto novlt = in.get<std::int32_t>("novlt_diod")) {
        const auto not_diod = in.get<std::int32_t>("not_diod");
        data.diodes.push_back({novlt, not_diod, in.get<std::int32_t>("isign_diod")});
    }
    while (std::cmp_less(data.tables.size(), data.maxvlt)) {
        volt_table table;
        table.not_diod = in.get<std::int32_t>("not_diod");
        if (table.not_diod == 0) return;
        const std::uint64_t points = in.get_count("notable_diod");
        while (table.points.size() < points) table.points.push_back(in.get<volt_point>("v-i for diode"));
        data.tables.push_back(std::move(table));
    }
}

volt_data2 read_volt_data2(const path& file)
{
    reader in(file);
    volt_data2 data;
    data.maxvlt = in.get<std::int32_t>("maxvlt");
    data.nvoltg = in.get<std::int32_t>("nvoltg");
    data.nvoltv = in.get<std::int32_t>("nvoltv");
    data.nvoltve = in.get<std::int32_t>("nvoltve");
    data.nvoltm = in.get<std::int32_t>("nvoltm");
    while (const auto ngrad = in.get<std::int32_t>("ngrad")) data.grads.push_back({ngrad, in.get<std::int32_t>("iug")});
    while (const auto novlt = in.get<std::int32_t>("novlt")) {
        volt_edge edge;
        edge.novlt = novlt;
        edge.iuv = in.get<std::int32_t>("iuv");
        edge.constv = in.get<std::array<double, 7>>("constv");
        edge.icon = in.get<std::array<std::int32_t, 2>>("icon");
        data.edges.push_back(edge);
    }
    while (const auto node = in.get<std::int32_t>("node")) data.nodes.push_back({node, in.get<std::int32_t>("ium")});
    data.maxtdat_diod = in.get<std::int32_t>("maxtdat_diod");
    data.itermax_diod = in.get<std::int32_t>("itermax_diod");
    data.eps_diod = in.get<double>("eps_diod");
    read_diodes(in, data);
    return data;
}

void write_voltr_matrix(const path& file, const voltr_matrix& matrix)
{
    writer out(file);
    out.check(matrix.nvolt >= 0, "nvolt is negative");
    const auto n = static_cast<std::uint64_t>(matrix.nvolt);
    out.check(matrix.f.size() == n * n, "the matrix is not nvolt x nvolt");
    out.put(matrix.nvolt);
    out.put(matrix.f.data(), matrix.f.size());
    out.finish();
}

voltr_matrix read_voltr_matrix(const path& file)
{
    reader in(file);
    const std::uint64_t n = in.get_count("nvolt");
    return {static_cast<std::int32_t>(n), in.get_doubles(n * n, "fmatr")};
}

void write_voltr_vector(const path& file, const std::vector<double>& values)
{
    writer out(file);
    out.put(out.count_of(values.size()));
    out.put(values.data(), values.size());
    out.finish();
}

std::vector<double> read_voltr_vector(const path& file)
{
    reader in(file);
    const std::uint64_t n = in.get_count("nvolt");
    return in.get_doubles(n, "fvecr");
}

void write_voltp_solution(const path& file, const voltp_solution& solution)
{
    writer out(file);
    out.put(out.count_of(solution.fsolr.size()));
    out.put(solution.fsolr.data(), solution.fsolr.size());
    out.put(out.count_of(solution.chg_vlt.size()));
    out.put(solution.chg_vlt.data(), solution.chg_vlt.size());
    out.finish();
}

voltp_solution read_voltp_solution(const path& file)
{
    reader in(file);
    voltp_solution solution;
    const std::uint64_t unknowns = in.get_count("nvolt");
    solution.fsolr = in.get_doubles(unknowns, "fsolr");
    const std::uint64_t edges = in.get_count("nvoltv");
    solution.chg_vlt = in.get_doubles(edges, "chg_vlt");
    return solution;
}

template <class record> static void write_table(const path& file, const std::vector<record>& records)
{
    writer out(file);
    out.put(records.data(), records.size());
    out.finish();
}

template <class record> static std::vector<record> read_table(const path& file)
{
    reader in(file);
    std::vector<record> records;
    for (record next; in.get_record(next);) records.push_back(next);
    return records;
}

void write_proptv(const path& file, const std::vector<tarnel::tensor_record>& records)
{
    write_table(file, records);
}
void write_propsg(const path& file, const std::vector<tarnel::conductivity_record>& records)
{
    write_table(file, records);
}
void write_j0vect(const path& file, const std::vector<tarnel::current_record>& records)
{
    write_table(file, records);
}
void write_h0vect(const path& file, const std::vector<tarnel::magnetisation_record>& records)
{
    write_table(file, records);
}
std::vector<tarnel::tensor_record> read_proptv(const path& file)
{
    return read_table<tarnel::tensor_record>(file);
}
std::vector<tarnel::conductivity_record> read_propsg(const path& file)
{
    return read_table<tarnel::conductivity_record>(file);
}
std::vector<tarnel::current_record> read_j0vect(const path& file)
{
    return read_table<tarnel::current_record>(file);
}
std::vector<tarnel::magnetisation_record> read_h0vect(const path& file)
{
    return read_table<tarnel::magnetisation_record>(file);
}

// A list ends with a record of zeros.
template <class record, class number_of>
static void write_list(const path& file, const std::vector<record>& records, number_of number, const char* name)
{
    writer out(file);
    for (const record& next : records) {
        if (number(next) == 0) refuse(file, std::string(name) + " 0 would end its list");
        out.put(next);
    }
    out.put(record{});
    out.finish();
}

template <class record, class number_of> static std::vector<record> read_list(const path& file, number_of number)
{
    reader in(file);
    std::vector<record> records;
    for (;;) {
        const auto next = in.get<record>("a record");
        if (number(next) == 0) return records;
        records.push_back(next);
    }
}

void write_belm(const path& file, const std::vector<tarnel::belm_record>& records)
{
    write_list(
        file, records, [](const tarnel::belm_record& r) { return r.nob; }, "nob");
}
void write_npresl(const path& file, const std::vector<tarnel::potential_record>& records)
{
    write_list(
        file, records, [](const tarnel::potential_record& r) { return r.nog; }, "nog");
}
std::vector<tarnel::belm_record> read_belm(const path& file)
{
    return read_list<tarnel::belm_record>(file, [](const tarnel::belm_record& r) { return r.nob; });
}
std::vector<tarnel::potential_record> read_npresl(const path& file)
{
    return read_list<tarnel::potential_record>(file, [](const tarnel::potential_record& r) { return r.nog; });
}

} // namespace tarnel_host
