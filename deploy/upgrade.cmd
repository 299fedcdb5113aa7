@rem Registers the copy again after its files were replaced, and keeps its settings. Usage: upgrade.cmd /?
@setlocal DisableDelayedExpansion
@"%~dp0common.cmd" upgrade %*
