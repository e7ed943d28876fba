# Types a line into an interactive zsh, completes it twice and waits until both words are offered.
# $1 folder of the completion, $2 the line, $3 and $4 the words. Prints "offered" then.
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "PS1='> '; fpath=($1 \$fpath); autoload -Uz compinit; compinit -D -u; print READY"
zpty -r -m shell line '*READY*READY*'
zpty -n -w shell "$2"$'\t\t'
zpty -r -m shell line "*$3*$4*" && print offered
zpty -d shell
