#include "CallStack.h"

#include <QCoreApplication>

#include <dlfcn.h>
#include <link.h>
#include <unwind.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

enum class Owner { Other, Library, Program, EventLoop, Object, Network, Transfer, Kept };

struct Range
{
    std::uintptr_t begin;
    std::uintptr_t end;
    Owner owner;
};

constexpr const char *ConnectToFunction
    = "_ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKi"
      "PK11QMetaObject";
constexpr std::size_t MostRanges = 64;
std::array<Range, MostRanges> ranges;
std::size_t rangeCount = 0;

void addRange(std::uintptr_t begin, std::uintptr_t size, Owner owner)
{
    if (rangeCount < MostRanges)
        ranges[rangeCount++] = {begin, begin + size, owner};
}

void addFunction(const char *name, Owner owner)
{
    Dl_info info{};
    ElfW(Sym) *symbol = nullptr;
    void *const address = dlsym(RTLD_DEFAULT, name);
    if (address != nullptr
        && dladdr1(address, &info, reinterpret_cast<void **>(&symbol), RTLD_DL_SYMENT) != 0)
        addRange(reinterpret_cast<std::uintptr_t>(address), symbol->st_size, owner);
}

int addModule(dl_phdr_info *info, std::size_t, void *)
{
    Owner owner = Owner::Program;
    if (std::strstr(info->dlpi_name, "/libksproxy") != nullptr)
        owner = Owner::Library;
    else if (std::strstr(info->dlpi_name, "/libQt5Network") != nullptr)
        owner = Owner::Network;
    else if (info->dlpi_name[0] != '\0')
        return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &header = info->dlpi_phdr[i];
        if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0)
            addRange(info->dlpi_addr + header.p_vaddr, header.p_memsz, owner);
    }
    return 0;
}

Owner ownerOf(const void *address)
{
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    for (std::size_t i = 0; i < rangeCount; ++i) {
        if (place >= ranges[i].begin && place < ranges[i].end)
            return ranges[i].owner;
    }
    return Owner::Other;
}

bool hasOwner(void *const *addresses, int count, Owner owner)
{
    return std::any_of(addresses, addresses + count,
                       [owner](const void *address) { return ownerOf(address) == owner; });
}

struct Walk
{
    void **addresses;
    int most;
    int count;
};

_Unwind_Reason_Code store(_Unwind_Context *context, void *data)
{
    auto *const walk = static_cast<Walk *>(data);
    if (walk->count == walk->most)
        return _URC_END_OF_STACK;
    walk->addresses[walk->count++] = reinterpret_cast<void *>(_Unwind_GetIP(context) - 1);
    return _URC_NO_REASON;
}

// The functions that take the place of the C library's are the program's too: what counts begins
// where they return to.
struct Search
{
    const void *begin;
    bool hasBegun = false;
    bool isInNetwork = false;
    bool isInObject = false;
    Owner owner = Owner::Other;
};

// Of the network library only what moves bytes counts.
bool goesOn(Search *search)
{
    switch (search->owner) {
    case Owner::Network:
        search->isInNetwork = true;
        return true;
    case Owner::Object:
        search->isInObject = true;
        return true;
    case Owner::Transfer:
        search->isInNetwork = false;
        return true;
    case Owner::Other:
    case Owner::Kept:
        return true;
    default:
        return false;
    }
}

_Unwind_Reason_Code look(_Unwind_Context *context, void *data)
{
    auto *const search = static_cast<Search *>(data);
    const auto *const address = reinterpret_cast<void *>(_Unwind_GetIP(context));
    search->hasBegun = search->hasBegun || address == search->begin;
    if (!search->hasBegun)
        return _URC_NO_REASON;
    search->owner = ownerOf(static_cast<const char *>(address) - 1);
    return goesOn(search) ? _URC_NO_REASON : _URC_END_OF_STACK;
}

} // namespace

void CallStack::findModules()
{
    rangeCount = 0;
    for (const char *name :
         {"_ZN16QCoreApplication13processEventsE6QFlagsIN10QEventLoop17ProcessEventsFlagEE",
          "_ZN16QCoreApplication13processEventsE6QFlagsIN10QEventLoop17ProcessEventsFlagEEi",
          "_ZN23QCoreApplicationPrivate16sendPostedEventsEP7QObjectiP11QThreadData",
          "_ZN16QCoreApplication15notifyInternal2EP7QObjectP6QEvent",
          "_ZN20QEventDispatcherUNIX13processEventsE6QFlagsIN10QEventLoop17ProcessEventsFlagEE"})
        addFunction(name, Owner::EventLoop);
    for (const char *name :
         {"_ZN16QCoreApplication9postEventEP7QObjectP6QEventi",
          "_ZN24QAbstractEventDispatcher13registerTimerEiN2Qt9TimerTypeEP7QObject",
          "_ZN20QEventDispatcherUNIX13registerTimerEiiN2Qt9TimerTypeEP7QObject",
          "_ZN20QEventDispatcherUNIX22registerSocketNotifierEP15QSocketNotifier",
          "_dl_allocate_tls"})
        addFunction(name, Owner::Kept);
    for (const char *name :
         {"_ZN7QObject7connectEPKS_PKcS1_S3_N2Qt14ConnectionTypeE", ConnectToFunction,
          "_ZN7QThreadC2EP7QObject", "_ZN9QMetaType6createEiPKv",
          "_ZN15QSocketNotifierC1ExNS_4TypeEP7QObject"})
        addFunction(name, Owner::Object);
    for (const char *name : {"_ZN9QIODevice5writeEPKcx", "_ZN9QIODevice4readEPcx"})
        addFunction(name, Owner::Transfer);
    dl_iterate_phdr(addModule, nullptr);
    void *address = nullptr;
    take(&address, 1); // loads what the unwinder needs
}

int CallStack::take(void **addresses, int most)
{
    Walk walk{addresses, most, 0};
    _Unwind_Backtrace(store, &walk);
    return walk.count;
}

CallStack::Origin CallStack::originOf(const void *returnAddress)
{
    Search search{returnAddress};
    _Unwind_Backtrace(look, &search);
    if (search.owner != Owner::Library)
        return Origin::Elsewhere;
    return search.isInNetwork || search.isInObject ? Origin::LeftOut : Origin::Library;
}

bool CallStack::hasLibrary(void *const *addresses, int count)
{
    return hasOwner(addresses, count, Owner::Library);
}

bool CallStack::isKept(void *const *addresses, int count)
{
    return hasOwner(addresses, count, Owner::Kept);
}

void CallStack::print(void *const *addresses, int count)
{
    for (int i = 0; i < count; ++i) {
        Dl_info info{};
        if (dladdr(addresses[i], &info) == 0)
            continue;
        const auto place = reinterpret_cast<std::uintptr_t>(addresses[i]);
        std::fprintf(
            stderr, "    %s %s +0x%lx\n", info.dli_fname,
            info.dli_sname != nullptr ? info.dli_sname : "?",
            static_cast<unsigned long>(place - reinterpret_cast<std::uintptr_t>(info.dli_fbase)));
    }
}
