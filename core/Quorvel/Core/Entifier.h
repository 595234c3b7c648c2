#pragma once

#include <Quorvel/Core/Export.h>

#include <string>

namespace Quorvel::Core::Detail {

/// Expands path templates: texts in which placeholders stand for the running cell, the slice that the agent serves and two
/// arguments of the agent's own. Set the values, then call `makePath`.
///
///     MakerPathMount maker;
///     maker.cellIdValue = MakerPathMount::cellId();
///     maker.arg0Value = "queues";
///     maker.makePath("cell%cellId/%arg0"); // "cell7/queues" in cell 7
///
/// A value. Threads: const operations may run together; the caller serialises changes.
class MakerPathMount {
public:
   using String = std::string;
   using CString = char const*; ///< ends with a NUL

   struct Constant {
      /// The placeholders "%cellId", "%sliceId", "%arg0" and "%arg1", in the order of the values that replace them.
      QUORVEL_CORE_EXPORT static char const* const arrayArgPath[4];
   };

   /// @return the running cell's identifier for `cellIdValue`: decimal digits, "0" for zero. Asked of the platform at each call
   /// @throws what `Cell::cellId` throws
   QUORVEL_CORE_EXPORT static String cellId();

   /// Replaces the placeholders in a template by the values.
   ///
   /// One placeholder after the other, in the order of the values, each everywhere where it stands in what the step before
   /// gave. So what `cellIdValue` brings in is searched for "%sliceId", "%arg0" and "%arg1", too, and what `arg1Value` brings
   /// in for nothing any more. What follows a placeholder does not matter: "%arg10" is "%arg1" and a 0. A % that begins no
   /// placeholder stays, and a template without any % comes back as it is, whatever the values are.
   ///
   /// @param pathTemplate  must not be null. Where a placeholder's value is empty, the placeholder must not occur, neither here
   ///                      nor in what an earlier value brought in
   ///
   /// Never throws; a failure ends the process: a placeholder without a value by the assertion "Unexpected empty path
   /// argument string.", a null template and exhausted memory by `std::terminate`.
   ///
   /// Cost: not for a fast path. For each value that is not empty a pattern is compiled and run over the whole text, also when
   /// its placeholder does not occur. Length is limited by memory alone; a value with $' lets a text grow with the square of
   /// the number of its placeholders.
   QUORVEL_CORE_EXPORT String makePath(CString pathTemplate) const noexcept;

   /// @name The values, one for each placeholder; empty: none is given
   ///
   /// A value is the format of a replacement, not a plain text. In it stand $$ for one $, $& for the placeholder itself, $` for
   /// the text before it, back to the placeholder's last occurrence, and $' for all the text after it. A $ and one or two
   /// digits stand for nothing, except that $0 and $00 may stand for the placeholder: standard libraries differ. Any other $
   /// stands for itself. Pass a text that may hold $ with each $ written twice.
   /// @{
   String cellIdValue;  ///< replaces "%cellId"
   String sliceIdValue; ///< replaces "%sliceId"
   String arg0Value;    ///< replaces "%arg0"
   String arg1Value;    ///< replaces "%arg1"
   /// @}
};

} // namespace Quorvel::Core::Detail
