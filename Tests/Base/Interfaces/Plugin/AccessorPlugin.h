#pragma once

#include "Base/Interfaces/ISurfelCollection.h"

/// What a library that is loaded at run time knows of collections, called through C functions.
///
/// It has its own copies of all templates and type records, with hidden visibility, as an
/// application's library would.
extern "C" {

/// The x coordinate of the first surfel.
using ReadFirstX = float(const Base::ISurfelCollection& collection);
/// A new accessor of the same kind as the collections of the program use.
using MakePositionAccess = Base::AElementAccessBase*(const void* firstElement, std::size_t stride);
/// A new accessor of another kind.
using MakeForeignAccess = Base::AElementAccessBase*();
/// Throws a VekoException.
using ThrowFromPlugin = void();
/// Calls the function and says whether it threw a VekoException.
using CatchInPlugin = bool(void (*function)());
}
