@rem Registers the copy that this folder belongs to, and verifies it. Usage: register.cmd /?
@setlocal DisableDelayedExpansion
@"%~dp0common.cmd" register %*
