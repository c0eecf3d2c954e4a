#include "arrays.h"

#include <cstdint>
#include <sstream>

namespace zetdip::python {

namespace {

std::string ShapeText(const py::array& a) {
    std::ostringstream s;
    s << "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i) s << (i ? ", " : "") << a.shape(i);
    s << (a.ndim() == 1 ? ",)" : ")");
    return s.str();
}

std::string DtypeText(const py::array& a) {
    return py::str(a.dtype()).cast<std::string>();
}

[[noreturn]] void Refuse(const char* pszName, const std::string& expected, const std::string& got) {
    throw py::value_error(std::string(pszName) + ": expected " + expected + ", got " + got);
}

void CheckLayout(const py::array& a, const char* pszName, Access access) {
    if (!(a.flags() & py::array::c_style))
        Refuse(pszName, "a C-contiguous array (np.ascontiguousarray makes one)", "a strided view");
    if (access == Access::Write && !a.writeable())
        Refuse(pszName, "a writeable array", "a read-only one");
}

template <class T>
void CheckDtype(const py::array& a, const char* pszName, const char* pszWhy) {
    if (!a.dtype().is(py::dtype::of<T>()))
        Refuse(pszName, std::string(py::str(py::dtype::of<T>())) + pszWhy, DtypeText(a));
}

bool ShapeIs(const py::array& a, std::initializer_list<long long> shape) {
    if (a.ndim() != static_cast<py::ssize_t>(shape.size())) return false;
    py::ssize_t i = 0;
    for (long long n : shape)
        if (a.shape(i++) != n) return false;
    return true;
}

unsigned char* DataOf(const py::array& a) {
    // Read-only arrays reach entries that take non-const pointers but only read.
    return static_cast<unsigned char*>(const_cast<void*>(a.data()));
}

}  // namespace

unsigned char* Image(const py::array& a, const char* pszName, const Format& f, Access access) {
    CheckLayout(a, pszName, access);
    if (!DepthDispatched(f.nBitsStored)) return DataOf(a);
    const long long w = f.nWidth, h = f.nHeight;
    std::ostringstream expected;
    if (f.nBitsStored == 8) {
        CheckDtype<std::uint8_t>(a, pszName, " for nBitsStored 8");
        if (f.nBitsPerPixel == 24) {
            if (!ShapeIs(a, {h, w, 3}) && !ShapeIs(a, {3, h, w})) {
                expected << "shape (" << h << ", " << w << ", 3) or (3, " << h << ", " << w
                         << ") for nBitsPerPixel 24";
                Refuse(pszName, expected.str(), ShapeText(a));
            }
            return DataOf(a);
        }
    } else {
        CheckDtype<std::uint16_t>(a, pszName, " for nBitsStored 9..16");
    }
    if (!ShapeIs(a, {h, w})) {
        expected << "shape (nHeight, nWidth) = (" << h << ", " << w << ")";
        Refuse(pszName, expected.str(), ShapeText(a));
    }
    return DataOf(a);
}

unsigned char* OptionalImage(const py::object& o, const char* pszName, const Format& f,
                             Access access) {
    if (o.is_none()) return nullptr;
    if (!py::isinstance<py::array>(o)) Refuse(pszName, "a numpy array or None", "another object");
    return Image(o.cast<py::array>(), pszName, f, access);
}

template <class T>
T* Buffer(const py::array& a, const char* pszName, long long nCount, Access access) {
    CheckLayout(a, pszName, access);
    CheckDtype<T>(a, pszName, "");
    if (nCount > 0 && a.size() < nCount)
        Refuse(pszName, "at least " + std::to_string(nCount) + " elements",
               std::to_string(a.size()));
    return reinterpret_cast<T*>(DataOf(a));
}

template std::uint16_t* Buffer<std::uint16_t>(const py::array&, const char*, long long, Access);
template std::uint32_t* Buffer<std::uint32_t>(const py::array&, const char*, long long, Access);

double* Coefficients(const py::array& a, const char* pszName, int nWidth, int nHeight) {
    CheckLayout(a, pszName, Access::Write);
    CheckDtype<double>(a, pszName, " (wavelet coefficients)");
    if (!ShapeIs(a, {nHeight, nWidth})) {
        Refuse(pszName,
               "shape (nHeight, nWidth) = (" + std::to_string(nHeight) + ", " +
                   std::to_string(nWidth) + ")",
               ShapeText(a));
    }
    return reinterpret_cast<double*>(DataOf(a));
}

int* OptionalInts(const py::object& o, const char* pszName, long long nCount) {
    if (o.is_none()) return nullptr;
    if (!py::isinstance<py::array>(o))
        Refuse(pszName, "a numpy int32 array or None", "another object");
    return Buffer<std::int32_t>(o.cast<py::array>(), pszName, nCount, Access::Write);
}

template std::int32_t* Buffer<std::int32_t>(const py::array&, const char*, long long, Access);

std::vector<int> Element(const py::object& o, const char* pszName, int nSEHeight, int nSEWidth) {
    const auto a = py::array_t<std::int32_t, py::array::c_style | py::array::forcecast>::ensure(o);
    if (!a) Refuse(pszName, "an array of int32 members", "an object numpy cannot convert");
    const long long nCount =
        nSEHeight > 0 && nSEWidth > 0 ? static_cast<long long>(nSEHeight) * nSEWidth : 0;
    if (a.size() < nCount)
        Refuse(pszName, "nSEHeight * nSEWidth = " + std::to_string(nCount) + " members",
               std::to_string(a.size()));
    // One spare entry keeps data() valid for an empty element.
    std::vector<int> se(static_cast<std::size_t>(a.size()) + 1, 0);
    std::copy(a.data(), a.data() + a.size(), se.begin());
    return se;
}

void CheckOverlap(const py::array& a, const char* pszA, const py::array& b, const char* pszB,
                  bool bMayBeSame) {
    const auto* pa = static_cast<const unsigned char*>(a.data());
    const auto* pb = static_cast<const unsigned char*>(b.data());
    const auto na = static_cast<std::size_t>(a.nbytes()), nb = static_cast<std::size_t>(b.nbytes());
    if (na == 0 || nb == 0) return;
    const bool bSame = pa == pb && na == nb;
    if (bSame && bMayBeSame) return;
    const std::uintptr_t a0 = reinterpret_cast<std::uintptr_t>(pa),
                         b0 = reinterpret_cast<std::uintptr_t>(pb);
    if (a0 < b0 + nb && b0 < a0 + na) {
        throw py::value_error(std::string(pszA) + " and " + pszB +
                              (bMayBeSame ? ": expected the same buffer or distinct ones, got "
                                            "partly overlapping memory"
                                          : ": expected distinct buffers, got shared memory"));
    }
}

void ToPoints(const py::list& list, const char* pszName, CArray<CPoint, const CPoint&>& arr) {
    for (const py::handle item : list) {
        const auto seq = py::reinterpret_borrow<py::object>(item);
        if (!py::isinstance<py::sequence>(seq) || py::len(seq) != 2)
            Refuse(pszName, "a list of (x, y) pairs", "an item that is not a pair");
        arr.Add(CPoint(seq[py::int_(0)].cast<int>(), seq[py::int_(1)].cast<int>()));
    }
}

void FromPoints(const CArray<CPoint, const CPoint&>& arr, py::list& list) {
    py::list out;
    for (INT_PTR i = 0; i < arr.GetSize(); ++i) out.append(py::make_tuple(arr[i].x, arr[i].y));
    list[py::slice(0, py::len(list), 1)] = out;
}

}  // namespace zetdip::python
