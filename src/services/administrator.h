#pragma once

// True when the caller is a member of the built-in Administrators group, or, from Windows Vista on,
// when the caller's token is limited and its linked full token is a member. False also when a
// query fails.
// Windows documentation: "CheckTokenMembership", "TOKEN_INFORMATION_CLASS".
bool isUserAdministrator();

// True when the caller is such a member now, without the linked token: its rights are in effect.
bool isElevated();
