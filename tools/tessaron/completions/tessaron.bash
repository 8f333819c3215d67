# Completion for bash. The program itself tells what can follow: see tools/tessaron/manual/completion.h.

_tessaron() {
  # The words up to the cursor without their quotation marks. Bash's own array of words is divided at
  # colons and equals signs, which are ordinary characters here; `cut` is how much of the last word
  # bash therefore keeps.
  local line=${COMP_LINE:0:COMP_POINT} words=() word= quote= begun= cut=0 c i
  for ((i = 0; i < ${#line}; i++)); do
    c=${line:i:1}
    if [[ $quote == "'" && $c != "'" ]]; then
      word+=$c
    elif [[ $c == '\' ]]; then
      ((++i))
      word+=${line:i:1} begun=1
    elif [[ -n $quote && $c != "$quote" ]]; then
      word+=$c
    elif [[ $c == "$quote" ]]; then
      quote=
    elif [[ $c == [\'\"] ]]; then
      quote=$c begun=1 cut=${#word}
    elif [[ $c == [[:blank:]] ]]; then
      [[ -z $begun ]] || words+=("$word")
      word= begun= cut=0
    else
      word+=$c begun=1
      [[ $c != [:=@] || $COMP_WORDBREAKS != *"$c"* ]] || cut=${#word}
    fi
  done

  local lines value
  mapfile -t lines < <("${words[0]/#\~/$HOME}" complete -- "${words[@]:1}" "$word" 2>/dev/null)
  COMPREPLY=()
  case ${lines[0]} in
    files) return ;; # as without this function
    folders)
      compopt -o filenames +o default
      mapfile -t COMPREPLY < <(compgen -d -- "${word:cut}")
      return
      ;;
  esac
  compopt +o default
  for value in "${lines[@]:1}"; do
    value=${value%%$'\t'*}
    [[ $value != *[:=] ]] || compopt -o nospace
    value=${value:cut}
    [[ -n $quote ]] || printf -v value %q "$value"
    COMPREPLY+=("$value")
  done
}
complete -o default -F _tessaron tessaron
