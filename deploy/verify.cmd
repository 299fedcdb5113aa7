@rem Checks the registration of the copy that this folder belongs to. Usage: verify.cmd /?
@setlocal DisableDelayedExpansion
@"%~dp0common.cmd" verify %*
