#pragma once

namespace TestSupport
{

/// Which of a number of events fail.
enum class EFailing
{
    Once,         ///< Only the one with the given number.
    FromThereOn,  ///< That one and all later ones.
};

}  // namespace TestSupport
