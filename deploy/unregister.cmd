@rem Unregisters the copy that this folder belongs to, and names what is left. Usage: unregister.cmd /?
@setlocal DisableDelayedExpansion
@"%~dp0common.cmd" unregister %*
